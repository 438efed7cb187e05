#include "instrumentconfiguration.h"

#include <cstdlib>
#include <cstring>

namespace glyphd {

namespace {

bool isYes(const char *variable)
{
    const char *value = std::getenv(variable);
    return value != nullptr && std::strcmp(value, "YES") == 0;
}

} // namespace

InstrumentConfiguration InstrumentConfiguration::fromEnvironment()
{
    InstrumentConfiguration configuration;
    configuration.qrx4400 = isYes("QRX4400_CONFIGURED");
    configuration.rab = isYes("RAB_CONFIGURED");
    return configuration;
}

} // namespace glyphd
