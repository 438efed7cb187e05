#pragma once

#include "simulatedservice.h"

#include <QSet>

// The clock-source service. Selecting a timing source changes TimingSourceStatus, the lock
// query answers ClockLockStatus, and the 10 MHz output and module sources are kept and read
// back; the commands answer nothing.
class SimulatedClockSourceService : public SimulatedService
{
    Q_OBJECT
public:
    explicit SimulatedClockSourceService(const QDBusConnection &connection);

public slots:
    uint GetModuleTriggerOutput() { return m_moduleTriggerOutput; }
    uint GetTimingSource() { return property("TimingSourceStatus").toUInt(); }
    bool Is10MegClockOutputTurnedOn() { return m_tenMegOutputOn; }
    bool IsModuleClockSourceTurnedOn(uint address) { return m_modulesOn.contains(address); }
    void ReTriggerAutoSelect();
    void SetModuleTriggerOutput(uint address) { m_moduleTriggerOutput = address; }
    void SetTimingSource(uint timing_source);
    void TurnOff10MegClockOutput() { m_tenMegOutputOn = false; }
    void TurnOffModuleClockSource(uint address) { m_modulesOn.remove(address); }
    void TurnOn10MegClockOutput() { m_tenMegOutputOn = true; }
    void TurnOnModuleClockSource(uint address) { m_modulesOn.insert(address); }
    bool GetClockLock() { return property("ClockLockStatus").toUInt() != 0; }

private:
    uint m_moduleTriggerOutput = 0;
    bool m_tenMegOutputOn = false;
    QSet<uint> m_modulesOn;
};
