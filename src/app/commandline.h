#pragma once

#include "app/startupsettings.h"

namespace glyphd {

// Reads --no-daemon, --clientName NAME, --host HOST and --port PORT into settings. An option
// that expects a value takes the next argument, whatever it is, unless that argument is
// --no-daemon or --clientName. Writes the reason on standard error and returns false on a
// null entry or an unknown argument.
bool parseCommandLine(int argc, char **argv, StartupSettings &settings);

} // namespace glyphd
