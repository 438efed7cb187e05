#include "simulatedclocksourceservice.h"

#include "clocksourceadaptor.h"
#include "dbus/platformservices.h"

using namespace glyphd::platformservices;

namespace {
// The automatic selection's code while it has not settled on a reference.
constexpr uint StillSearching = 5;
} // namespace

SimulatedClockSourceService::SimulatedClockSourceService(const QDBusConnection &connection)
    : SimulatedService(connection, QLatin1String(ClockSourceService),
                       QLatin1String(ClockSourcePath), QLatin1String(ClockSourceService))
{
    setAdaptor(new ClockSourceAdaptor(this));
}

void SimulatedClockSourceService::ReTriggerAutoSelect()
{
    change(QStringLiteral("AutoSelectStatus"), StillSearching);
}

void SimulatedClockSourceService::SetTimingSource(uint timing_source)
{
    change(QStringLiteral("TimingSourceStatus"), timing_source);
}
