#pragma once

#include <QDBusConnection>
#include <QString>
#include <QVector>

#include <memory>

class SimulatedClockSourceService;
class SimulatedGpsService;
class SimulatedService;

// Both platform services on one bus connection, driven by command lines. Reports what it does
// as one JSON object per line on standard output.
class PlatformSimulator
{
public:
    explicit PlatformSimulator(const QDBusConnection &connection);
    ~PlatformSimulator();

    // "NAME=VALUE" before the services join the bus; false (reported) on a bad one.
    bool presetValue(const QString &assignment);
    bool joinAll();
    void execute(const QString &line);

    static void printEvent(const QString &event, const QString &key = QString(),
                           const QString &value = QString());

private:
    // The service that has the property, or null.
    SimulatedService *owner(const QString &property) const;
    // "gps", "clocksource" or "all".
    QVector<SimulatedService *> servicesNamed(const QString &which) const;
    bool changeProperty(const QString &command, const QString &name, const QString &text);
    void joinOrLeave(const QString &command, const QString &which);

    std::unique_ptr<SimulatedGpsService> m_gps;
    std::unique_ptr<SimulatedClockSourceService> m_clockSource;
};
