#include "cgpssystemtraydataitem.h"

#include "dbus/gpsinterface.h"
#include "dbus/platformservices.h"
#include "dbus/servicepropertyreader.h"
#include "tray/csystemtrayicon.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QStringList>

#include <algorithm>

namespace glyphd {

namespace {

enum GpsState : int {
    ReceiverOffState = 0,
    LockedState = 25,
    LockedDualBandState = 26,
    SearchingState = 27
};

int stateFor(bool gnssOn, uint fixStatus, bool dualBand)
{
    if (!gnssOn)
        return ReceiverOffState;
    if (fixStatus == 0)
        return SearchingState;
    return dualBand ? LockedDualBandState : LockedState;
}

} // namespace

// The title is translated with the class named, so that lupdate files it under the class.
CGpsSystemTrayDataItem::CGpsSystemTrayDataItem(SyncSenderClient *client, QObject *parent)
    : CPlatformServiceTrayDataItem(client, parent, CGpsSystemTrayDataItem::tr("GPS"),
                                   QStringLiteral("GNSS"))
    , m_proxy(new ComOrvantasystemsPlatformGpsInterface(QLatin1String(platformservices::GpsService),
                                                        QLatin1String(platformservices::GpsPath),
                                                        QDBusConnection::systemBus(), this))
{
    followPropertyChanges(platformservices::GpsService, platformservices::GpsPath,
                          SLOT(handlePropertiesChanged(QString, QMap<QString, QVariant>)));
    // The daemon initialises every item later as well; reading here already is what shows a
    // service that registered in between.
    checkGpsServiceReady();
}

CGpsSystemTrayDataItem::~CGpsSystemTrayDataItem() = default;

void CGpsSystemTrayDataItem::checkGpsServiceReady()
{
    auto *watcher = new QDBusServiceWatcher(
        QLatin1String(platformservices::GpsService), QDBusConnection::systemBus(),
        QDBusServiceWatcher::WatchForRegistration | QDBusServiceWatcher::WatchForUnregistration,
        this);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] { initialize(); });
    // Blanks the icon but keeps the values: a change signal before the service returns is
    // shown from the receiver state last read.
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this,
            [this] { trayIcon()->setState(ReceiverOffState); });

    if (m_proxy->isValid())
        initialize();
    else
        trayIcon()->setState(ReceiverOffState);
}

void CGpsSystemTrayDataItem::initialize()
{
    m_gnssOn = readServiceProperty(*m_proxy, "GnssStatus").toBool();
    m_fixStatus = readServiceProperty(*m_proxy, "FixStatus").toUInt();
    checkDualBand(readServiceProperty(*m_proxy, "Band").toString());
    showReceiverState();
}

void CGpsSystemTrayDataItem::handlePropertiesChanged(
    const QString &, const QMap<QString, QVariant> &changed_properties)
{
    const auto fixStatus = changed_properties.constFind(QStringLiteral("FixStatus"));
    if (fixStatus != changed_properties.constEnd())
        m_fixStatus = fixStatus->toUInt();
    const auto band = changed_properties.constFind(QStringLiteral("Band"));
    if (band != changed_properties.constEnd())
        checkDualBand(band->toString());
    showReceiverState();
}

void CGpsSystemTrayDataItem::checkDualBand(QString data)
{
    // An empty value is one empty entry, which counts as 0.
    const QStringList entries =
        data.simplified().split(QLatin1Char(','), Qt::KeepEmptyParts, Qt::CaseSensitive);
    m_dualBand = std::any_of(entries.cbegin(), entries.cend(),
                             [](const QString &entry) { return entry.toInt(nullptr, 10) >= 1; });
}

void CGpsSystemTrayDataItem::showReceiverState()
{
    showState(stateFor(m_gnssOn, m_fixStatus, m_dualBand));
}

} // namespace glyphd
