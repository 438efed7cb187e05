#pragma once

#include <QString>

namespace glyphd {

// Installs the catalogue directory/name + prefix + <default locale> (.qm, with Qt's shorter
// fallbacks) in the application. Warns and goes on untranslated when the default locale is C
// or no catalogue fits.
void loadTranslations(const QString &directory, const QString &name, const QString &prefix);

} // namespace glyphd
