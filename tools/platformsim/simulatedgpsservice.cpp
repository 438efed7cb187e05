#include "simulatedgpsservice.h"

#include "dbus/platformservices.h"
#include "gpsadaptor.h"

using namespace glyphd::platformservices;

SimulatedGpsService::SimulatedGpsService(const QDBusConnection &connection)
    : SimulatedService(connection, QLatin1String(GpsService), QLatin1String(GpsPath),
                       QLatin1String(GpsService))
{
    setAdaptor(new GpsAdaptor(this));
}

bool SimulatedGpsService::keep(const char *name, const QVariant &value)
{
    m_settings.insert(QLatin1String(name), value);
    return true;
}

// A receiver with dual-band reception reports a second band in use.
bool SimulatedGpsService::TurnOffDualGnss()
{
    keep("DualGnss", false);
    change(QStringLiteral("Band"), QStringLiteral("0"));
    return true;
}

bool SimulatedGpsService::TurnOnDualGnss()
{
    keep("DualGnss", true);
    change(QStringLiteral("Band"), QStringLiteral("0,1"));
    return true;
}

bool SimulatedGpsService::TurnOffGnss()
{
    change(QStringLiteral("GnssStatus"), false);
    return true;
}

bool SimulatedGpsService::TurnOnGnss()
{
    change(QStringLiteral("GnssStatus"), true);
    return true;
}
