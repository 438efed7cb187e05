#include "translations.h"

#include <QCoreApplication>
#include <QList>
#include <QLocale>
#include <QTranslator>

namespace glyphd {

namespace {

// Translators live as long as the process: the application uses them until the very end.
// Held here (and never freed) so that they stay reachable to the leak checker.
QList<QTranslator *> &translatorsForLife()
{
    static auto *translators = new QList<QTranslator *>;
    return *translators;
}

} // namespace

void loadTranslations(const QString &directory, const QString &name, const QString &prefix)
{
    const QLocale locale;
    if (locale.language() == QLocale::C) {
        qWarning("Locale not set (or set to \"C\"): Not loading translations");
        return;
    }
    auto *translator = new QTranslator;
    translatorsForLife().append(translator);
    if (translator->load(locale, name, prefix, directory, QString())) {
        QCoreApplication::installTranslator(translator);
    } else {
        qWarning("Could not load the translations");
    }
}

} // namespace glyphd
