#include "cclocksourcetraydataitem.h"

#include "dbus/clocksourceinterface.h"
#include "dbus/platformservices.h"
#include "dbus/servicepropertyreader.h"

#include <QDBusConnection>

namespace glyphd {

namespace {

constexpr uint AutomaticSelection = 5;

// By timing source: the unlocked state, then the locked one. Source 5 here is the automatic
// selection still searching, which has one picture either way.
struct SourcePictures
{
    uint source;
    int unlockedState;
    int lockedState;
};
constexpr SourcePictures sourcePictures[] = {
    {1, 34, 35}, // 10M
    {2, 36, 37}, // 13M
    {3, 38, 39}, // 15M
    {4, 40, 41}, // GPS
    {AutomaticSelection, 28, 28},
};
constexpr int NoSourceState = 0;

int stateFor(uint source, bool locked)
{
    for (const SourcePictures &pictures : sourcePictures) {
        if (pictures.source == source)
            return locked ? pictures.lockedState : pictures.unlockedState;
    }
    return NoSourceState;
}

} // namespace

// The title is translated with the class named, so that lupdate files it under the class.
CClockSourceTrayDataItem::CClockSourceTrayDataItem(SyncSenderClient *client, QObject *parent)
    : CPlatformServiceTrayDataItem(client, parent, CClockSourceTrayDataItem::tr("ClockSource"),
                                   QStringLiteral("CLKSRC"))
    , m_proxy(new ComOrvantasystemsPlatformClockSourceInterface(
          QLatin1String(platformservices::ClockSourceService),
          QLatin1String(platformservices::ClockSourcePath), QDBusConnection::systemBus(), this))
{
    followPropertyChanges(platformservices::ClockSourceService, platformservices::ClockSourcePath,
                          SLOT(handlePropertiesChanged(QString, QMap<QString, QVariant>)));
}

CClockSourceTrayDataItem::~CClockSourceTrayDataItem() = default;

void CClockSourceTrayDataItem::initialize()
{
    m_autoSelectStatus = readServiceProperty(*m_proxy, "AutoSelectStatus").toUInt();
    m_timingSource = readServiceProperty(*m_proxy, "TimingSourceStatus").toUInt();
    m_locked = readServiceProperty(*m_proxy, "ClockLockStatus").toBool();
    showClockState();
}

void CClockSourceTrayDataItem::handlePropertiesChanged(
    const QString &, const QMap<QString, QVariant> &changed_properties)
{
    const auto autoSelect = changed_properties.constFind(QStringLiteral("AutoSelectStatus"));
    if (autoSelect != changed_properties.constEnd())
        m_autoSelectStatus = autoSelect->toUInt();
    const auto timingSource = changed_properties.constFind(QStringLiteral("TimingSourceStatus"));
    if (timingSource != changed_properties.constEnd())
        m_timingSource = timingSource->toUInt();
    const auto lock = changed_properties.constFind(QStringLiteral("ClockLockStatus"));
    if (lock != changed_properties.constEnd())
        m_locked = lock->toUInt() != 0;
    showClockState();
}

// The lock is read from the service again on every refresh, so the service's current answer
// wins over whatever a change signal carried.
void CClockSourceTrayDataItem::showClockState()
{
    m_locked = readServiceProperty(*m_proxy, "ClockLockStatus").toBool();
    const uint source = m_timingSource == AutomaticSelection ? m_autoSelectStatus : m_timingSource;
    showState(stateFor(source, m_locked));
}

} // namespace glyphd
