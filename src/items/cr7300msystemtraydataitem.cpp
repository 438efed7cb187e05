#include "cr7300msystemtraydataitem.h"

#include "tray/csystemtrayicon.h"

#include <QFileInfo>

namespace glyphd {

namespace {

enum MicroscopeState : int { NoProblemState = 0, WrongPortState = 13, UnsupportedState = 14 };

// The platform numbers the nodes by USB port, and no instrument has more than 32.
constexpr int deviceNodeCount = 32;
const char kWrongPortNode[] = "usb_invalid_r7300m";
const char kUnsupportedNode[] = "usb_unsupported_r7300m";

constexpr int wrongPortBalloonMs = 10000;
// Not meant to go away on its own: the microscope cannot be used until it is replaced.
constexpr int unsupportedBalloonMs = 99999;

} // namespace

CR7300mSystemTrayDataItem::CR7300mSystemTrayDataItem(SyncSenderClient *client, QObject *parent,
                                                     const QString &deviceDirectory)
    : CSingleValueTrayDataItem(client, parent, CR7300mSystemTrayDataItem::tr("R7300m"),
                               {nullptr,
                                "SCOPE_ERROR",
                                "",
                                nullptr,
                                {{"True", WrongPortState}, {"Unsupported", UnsupportedState}},
                                NoProblemState,
                                nullptr})
    , m_deviceDirectory(deviceDirectory)
{}

CR7300mSystemTrayDataItem::~CR7300mSystemTrayDataItem() = default;

void CR7300mSystemTrayDataItem::initialize()
{
    if (anyDeviceNode(kWrongPortNode))
        applyState(WrongPortState);
    else if (anyDeviceNode(kUnsupportedNode))
        applyState(UnsupportedState);
}

void CR7300mSystemTrayDataItem::onIconClicked()
{
    showWarning(trayIcon()->state());
}

void CR7300mSystemTrayDataItem::applyValue(const QByteArray &value)
{
    applyState(stateForValue(value));
}

void CR7300mSystemTrayDataItem::applyState(int state)
{
    if (state == trayIcon()->state())
        return;
    showState(state);
    showWarning(state);
}

// The texts name the class: lupdate loses the class after the description's nested braces in
// the constructor above and would file unqualified ones under the namespace.
void CR7300mSystemTrayDataItem::showWarning(int state)
{
    if (state == WrongPortState) {
        // The kestrel hardware has only one port the microscope works in, behind an OTG cable.
        const QString text =
            qgetenv("TORVE_CSR_NAME") == "kestrel"
                ? CR7300mSystemTrayDataItem::tr(
                      "The R7300m Microscope will not function properly in this USB port.  Please "
                      "use Client USB port with a Mini OTG cable.")
                : CR7300mSystemTrayDataItem::tr(
                      "The R7300m Microscope will not function in this USB port.  Please use the "
                      "other USB port.");
        trayIcon()->showBalloon(text, QSystemTrayIcon::Critical,
                                CR7300mSystemTrayDataItem::tr("Microscope Error"),
                                wrongPortBalloonMs, false);
    } else if (state == UnsupportedState) {
        trayIcon()->showBalloon(
            CR7300mSystemTrayDataItem::tr(
                "The Lumiscope microscope is not supported on this instrument."),
            QSystemTrayIcon::Critical, CR7300mSystemTrayDataItem::tr("Lumiscope Not Supported"),
            unsupportedBalloonMs, false);
    }
}

bool CR7300mSystemTrayDataItem::anyDeviceNode(const char *prefix) const
{
    for (int n = 0; n < deviceNodeCount; ++n) {
        if (QFileInfo::exists(m_deviceDirectory + QLatin1Char('/') + QLatin1String(prefix) +
                              QString::number(n)))
            return true;
    }
    return false;
}

} // namespace glyphd
