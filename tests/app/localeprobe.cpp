// Applies the daemon's locale override in a process of its own and prints the outcome, one
// NAME=VALUE per line, so the test sees it without touching its own environment.
#include "app/localeoverride.h"

#include <QLocale>

#include <cstdio>
#include <cstdlib>

int main()
{
    glyphd::applyLocaleOverride();
    for (const char *name :
         {"LC_ALL", "BERT_CHINESE", "BERT_JAPANESE", "BERT_KOREAN", "BERT_RUSSIAN"}) {
        const char *value = std::getenv(name);
        std::printf("%s=%s\n", name, value != nullptr ? value : "(unset)");
    }
    std::printf("QLocale=%s\n", qPrintable(QLocale().name()));
    return 0;
}
