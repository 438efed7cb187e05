#include "cusbflashsystemtraydataitem.h"

#include "tray/csystemtrayicon.h"

#include <QString>

#include <algorithm>
#include <cstdio>

namespace glyphd {

namespace {

const char kListKey[] = "FLASH_LIST";
const char kFormatKey[] = "FLASH_FORMAT";
const char kEjecting[] = "EJECTING";

enum UsbFlashState : int {
    NoDeviceState = 0,
    SafeToRemoveState = 1,
    ConnectedState = 2,
    PulledOutState = 3
};

// The reminder after the first device is shorter than the other balloons: it repeats what the
// user sees every time.
constexpr int reminderBalloonMs = 5000;

bool isEjecting(const DeviceList::value_type &device)
{
    return device.second == kEjecting;
}

} // namespace

CUsbFlashSystemTrayDataItem::CUsbFlashSystemTrayDataItem(SyncSenderClient *client, QObject *parent)
    : CSingleValueTrayDataItem(
          client, parent, CUsbFlashSystemTrayDataItem::tr("Removable Storage"),
          {kListKey, "FLASH_", "USB", "CUsbFlashSystemDataItem could not initialize"})
{}

CUsbFlashSystemTrayDataItem::~CUsbFlashSystemTrayDataItem() = default;

void CUsbFlashSystemTrayDataItem::processMessage(Message *message)
{
    const KeyValue keyValue = readKeyValue(message);
    if (keyValue.key == kListKey)
        applyValue(keyValue.value);
    else if (keyValue.key == kFormatKey)
        formatStatusChanged(keyValue.value);
}

void CUsbFlashSystemTrayDataItem::formatStatusChanged(const QByteArray &value)
{
    const bool wasFormatting = m_formatting;
    m_formatting = !value.isEmpty();
    QString text;
    if (wasFormatting && !m_formatting)
        text = tr("Format complete. Please remember to eject the device from the Removable "
                  "Storage system page before removing it.");
    else if (!wasFormatting && m_formatting)
        text = tr("Formatting device. Do not remove device until process is completed.");
    if (!text.isEmpty())
        trayIcon()->showBalloon(text, QSystemTrayIcon::Information, tr("Removable Storage"), -1,
                                false);
}

// A device that went away without having been ejected outweighs any number that were.
CUsbFlashSystemTrayDataItem::Change
CUsbFlashSystemTrayDataItem::changeBetween(const DeviceList &before, const DeviceList &now)
{
    Change change = Change::None;
    for (const auto &device : before) {
        if (device.first.empty() || now.count(device.first) != 0)
            continue;
        if (!isEjecting(device))
            return Change::PulledOut;
        change = Change::Ejected;
    }
    return change;
}

void CUsbFlashSystemTrayDataItem::applyValue(const QByteArray &deviceList)
{
    CDeviceListReader::Result read = CDeviceListReader::read(deviceList.toStdString());
    if (!read.error.empty())
        std::fprintf(stderr, "The removable storage list is not valid XML: %s\n",
                     read.error.c_str());
    const DeviceList &devices = read.devices;

    int state = NoDeviceState;
    QString text;
    int milliseconds = -1;
    // The balloon of the last device taken away is critical and takes the icon with it.
    bool lastDevice = false;
    switch (changeBetween(m_devices, devices)) {
    case Change::PulledOut:
        state = PulledOutState;
        text = tr("The device was removed without being ejected. Data may be corrupted.");
        lastDevice = devices.empty();
        break;
    case Change::Ejected:
        state = SafeToRemoveState;
        // Formatting ejects and remounts the device; that is no news to the user.
        if (!m_formatting) {
            text = tr("The device has been ejected and is safe to remove.");
            lastDevice = devices.empty();
        }
        break;
    case Change::None:
        if (devices.empty())
            break;
        state = ConnectedState;
        const bool ejectUnderWay =
            std::any_of(devices.begin(), devices.end(), [](const DeviceList::value_type &device) {
                return isEjecting(device) && !device.first.empty();
            });
        const bool firstDevices =
            !ejectUnderWay && m_devices.empty() &&
            std::any_of(devices.begin(), devices.end(),
                        [](const DeviceList::value_type &device) { return !device.first.empty(); });
        if (firstDevices) {
            text = tr("Please remember to eject the device from the Removable Storage system page "
                      "before removing it.");
            milliseconds = reminderBalloonMs;
        }
        break;
    }
    m_devices = devices;

    showState(state);
    if (!text.isEmpty())
        trayIcon()->showBalloon(
            text, lastDevice ? QSystemTrayIcon::Critical : QSystemTrayIcon::Information,
            tr("Removable Storage"), milliseconds, lastDevice);
}

} // namespace glyphd
