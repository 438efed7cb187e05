#include "localeoverride.h"

#include <QLocale>

#include <cstdlib>
#include <cstring>

namespace glyphd {

namespace {

struct LocaleOverride
{
    const char *locale;
    const char *flagVariable;
};

const LocaleOverride overrides[] = {
    {"zh_CN", "BERT_CHINESE"},
    {"ja_JP", "BERT_JAPANESE"},
    {"ko_KR", "BERT_KOREAN"},
    {"ru_RU", "BERT_RUSSIAN"},
};

} // namespace

void applyLocaleOverride()
{
    const char *lcAll = std::getenv("LC_ALL");
    if (lcAll == nullptr) {
        return;
    }
    for (const LocaleOverride &entry : overrides) {
        if (std::strcmp(lcAll, entry.locale) == 0) {
            setenv("LC_ALL", "en_US", 1);
            setenv(entry.flagVariable, "true", 1);
            QLocale::setDefault(QLocale(QLatin1String(entry.locale)));
            return;
        }
    }
}

} // namespace glyphd
