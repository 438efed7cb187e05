#pragma once

#include "cdevicelistreader.h"
#include "tray/csinglevaluetraydataitem.h"

namespace glyphd {

// Removable storage (USB sticks): shown while a device is plugged in, green when the last
// ejected device may be removed, red when one was pulled out without being ejected. It compares
// every device list with the one before and tells the user what changed in a balloon. A tap
// raises the storage settings, where devices are ejected and formatted.
class CUsbFlashSystemTrayDataItem : public CSingleValueTrayDataItem
{
    Q_OBJECT
public:
    CUsbFlashSystemTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CUsbFlashSystemTrayDataItem() override;

protected:
    // The device list and the formatting flag share the prefix; the key tells them apart.
    void processMessage(Message *message) override;
    // The value is the device-list document.
    void applyValue(const QByteArray &deviceList) override;

private:
    enum class Change { None, Ejected, PulledOut };
    static Change changeBetween(const DeviceList &before, const DeviceList &now);

    void formatStatusChanged(const QByteArray &value);

    bool m_formatting = false;
    DeviceList m_devices;
};

} // namespace glyphd
