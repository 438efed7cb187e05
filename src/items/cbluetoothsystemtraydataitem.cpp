#include "cbluetoothsystemtraydataitem.h"

#include "platform/message/message.h"
#include "tray/csystemtrayicon.h"

#include <QString>

namespace glyphd {

namespace {

const char kEnabledKey[] = "BLUE_ENABLED";
const char kPairingKey[] = "BLUE_PAIRING_STATE";
const char kBluetoothService[] = "bluetooth";
const char kFileReceivedCommand[] = "BLUE_OBEX_FILE_RCVD";

enum BluetoothState : int { DisabledState = 0, EnabledState = 12 };

// The pairing states in which the remote device waits for the user here.
bool isPairingRequest(const QByteArray &pairingState)
{
    return pairingState == "PIN_ENTRY_RESPONDER" || pairingState == "SSP_RESPONDER";
}

} // namespace

CBluetoothSystemTrayDataItem::CBluetoothSystemTrayDataItem(SyncSenderClient *client,
                                                           QObject *parent)
    : CSingleValueTrayDataItem(client, parent, CBluetoothSystemTrayDataItem::tr("Bluetooth"),
                               {kEnabledKey,
                                "BLUE_",
                                "BLUETOOTH",
                                "CBluetoothSystemDataItem could not initialize",
                                {{"YES", EnabledState}},
                                DisabledState})
{}

CBluetoothSystemTrayDataItem::~CBluetoothSystemTrayDataItem() = default;

bool CBluetoothSystemTrayDataItem::acceptsMessage(const Message *message)
{
    return CSingleValueTrayDataItem::acceptsMessage(message) || isFileReceived(message);
}

bool CBluetoothSystemTrayDataItem::isFileReceived(const Message *message)
{
    return message->type() == MessageType::Notification &&
           (message->source() == kControlPanelService || message->source() == kBluetoothService) &&
           message->command() == kFileReceivedCommand;
}

void CBluetoothSystemTrayDataItem::processMessage(Message *message)
{
    if (message->command() == kFileReceivedCommand) {
        // The parameter text is the file name as it stands, not a quoted token.
        const QString fileName = QString::fromStdString(message->params());
        if (!fileName.isEmpty())
            showBalloon(
                tr("File received and placed in the bluetooth inbox.\nFilename: %1").arg(fileName));
        return;
    }
    const KeyValue keyValue = readKeyValue(message);
    if (keyValue.key == kEnabledKey)
        applyValue(keyValue.value);
    else if (keyValue.key == kPairingKey && isPairingRequest(keyValue.value))
        showBalloon(tr("Pair requested. You may go to the Bluetooth system page to complete the "
                       "pair by clicking on the icon above."));
}

void CBluetoothSystemTrayDataItem::showBalloon(const QString &text)
{
    trayIcon()->showBalloon(text, QSystemTrayIcon::Information, QStringLiteral("default"), -1,
                            false);
}

} // namespace glyphd
