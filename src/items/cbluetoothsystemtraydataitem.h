#pragma once

#include "tray/csinglevaluetraydataitem.h"

namespace glyphd {

// Bluetooth: shown while the radio is enabled. Balloons tell the user that a remote device asks
// to pair (the pairing is completed on the Bluetooth settings, which a tap raises) and that a
// file arrived, which the Bluetooth service announces itself.
class CBluetoothSystemTrayDataItem : public CSingleValueTrayDataItem
{
    Q_OBJECT
public:
    CBluetoothSystemTrayDataItem(SyncSenderClient *client, QObject *parent);
    ~CBluetoothSystemTrayDataItem() override;

    // The control panel's notifications, and the file-received command from the control panel
    // or the Bluetooth service.
    bool acceptsMessage(const Message *message) override;

protected:
    void processMessage(Message *message) override;

private:
    static bool isFileReceived(const Message *message);
    void showBalloon(const QString &text);
};

} // namespace glyphd
