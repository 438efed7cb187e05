#include "translations.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

namespace glyphd {

void loadTranslations(const QString &directory, const QString &name, const QString &prefix)
{
    const QLocale locale;
    if (locale.language() == QLocale::C) {
        qWarning("Locale not set (or set to \"C\"): Not loading translations");
        return;
    }
    // Lives as long as the process: the application keeps using it until the very end.
    auto *translator = new QTranslator;
    if (translator->load(locale, name, prefix, directory, QString())) {
        QCoreApplication::installTranslator(translator);
    } else {
        qWarning("Could not load the translations");
    }
}

} // namespace glyphd
