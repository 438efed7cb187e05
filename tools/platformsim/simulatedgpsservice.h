#pragma once

#include "simulatedservice.h"

#include <QVariantMap>

// The GNSS receiver service. Its commands act on the simulated receiver: turning the receiver
// or dual-band reception on or off changes the properties a client sees, the survey and
// receiver settings are kept and read back, and every command answers true.
class SimulatedGpsService : public SimulatedService
{
    Q_OBJECT
public:
    explicit SimulatedGpsService(const QDBusConnection &connection);

public slots:
    int GetAntennaTimeBias() { return setting("AntennaTimeBias").toInt(); }
    double GetAutoSurveyAccuracy() { return setting("AutoSurveyAccuracy").toDouble(); }
    uint GetAutoSurveyDuration() { return setting("AutoSurveyDuration").toUInt(); }
    uint GetDynModel() { return setting("DynModel").toUInt(); }
    int GetElevationLimit() { return setting("ElevationLimit").toInt(); }
    uint GetFixType() { return setting("FixType").toUInt(); }
    uint GetGnssSystem() { return setting("GnssSystem").toUInt(); }
    int GetMinimumCno() { return setting("MinimumCno").toInt(); }
    double GetStaticSurveyAccuracy() { return setting("StaticSurveyAccuracy").toDouble(); }
    double GetStaticSurveyAltitude() { return setting("StaticSurveyAltitude").toDouble(); }
    double GetStaticSurveyLatitude() { return setting("StaticSurveyLatitude").toDouble(); }
    double GetStaticSurveyLongitude() { return setting("StaticSurveyLongitude").toDouble(); }
    uint GetSurveyMode() { return setting("SurveyMode").toUInt(); }
    bool IsAntennaPowerOn() { return setting("AntennaPower").toBool(); }
    bool IsDualGnssOn() { return setting("DualGnss").toBool(); }
    bool IsGnssOn() { return property("GnssStatus").toBool(); }

    bool SetAntennaTimeBias(int value) { return keep("AntennaTimeBias", value); }
    bool SetAutoSurveyAccuracy(double value) { return keep("AutoSurveyAccuracy", value); }
    bool SetAutoSurveyDuration(uint value) { return keep("AutoSurveyDuration", value); }
    bool SetDynModel(uint value) { return keep("DynModel", value); }
    bool SetElevationLimit(int value) { return keep("ElevationLimit", value); }
    bool SetFixType(uint value) { return keep("FixType", value); }
    bool SetGnssSystem(uint value) { return keep("GnssSystem", value); }
    bool SetMinimumCno(int value) { return keep("MinimumCno", value); }
    bool SetStaticSurveyAccuracy(double value) { return keep("StaticSurveyAccuracy", value); }
    bool SetStaticSurveyAltitude(double value) { return keep("StaticSurveyAltitude", value); }
    bool SetStaticSurveyLatitude(double value) { return keep("StaticSurveyLatitude", value); }
    bool SetStaticSurveyLongitude(double value) { return keep("StaticSurveyLongitude", value); }
    bool SetSurveyMode(uint value) { return keep("SurveyMode", value); }

    bool TurnOffAntennaPower() { return keep("AntennaPower", false); }
    bool TurnOnAntennaPower() { return keep("AntennaPower", true); }
    bool TurnOffDualGnss();
    bool TurnOnDualGnss();
    bool TurnOffGnss();
    bool TurnOnGnss();

private:
    QVariant setting(const char *name) const { return m_settings.value(QLatin1String(name)); }
    bool keep(const char *name, const QVariant &value);

    QVariantMap m_settings;
};
