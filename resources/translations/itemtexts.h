// Every text the tray items show, under the class that shows it. Never compiled: the
// glyphd_lupdate target reads this file beside src/ so that a catalogue keeps the
// translations of texts whose item is not written yet (or is built only on some instruments)
// instead of marking them vanished, which lrelease would leave out of the .qm file.
// When a text changes in an item, change it here too.

#include <QtGlobal>

static const char *const glyphdItemTexts[] = {
    QT_TRANSLATE_NOOP("glyphd::CUsbFlashSystemTrayDataItem", "Removable Storage"),
    QT_TRANSLATE_NOOP("glyphd::CUsbFlashSystemTrayDataItem",
                      "Format complete. Please remember to eject the device from the Removable "
                      "Storage system page before removing it."),
    QT_TRANSLATE_NOOP("glyphd::CUsbFlashSystemTrayDataItem",
                      "Formatting device. Do not remove device until process is completed."),
    QT_TRANSLATE_NOOP("glyphd::CUsbFlashSystemTrayDataItem",
                      "The device was removed without being ejected. Data may be corrupted."),
    QT_TRANSLATE_NOOP("glyphd::CUsbFlashSystemTrayDataItem",
                      "The device has been ejected and is safe to remove."),
    QT_TRANSLATE_NOOP("glyphd::CUsbFlashSystemTrayDataItem",
                      "Please remember to eject the device from the Removable Storage system page "
                      "before removing it."),
    QT_TRANSLATE_NOOP("glyphd::CVncSystemTrayDataItem", "VNC"),
    QT_TRANSLATE_NOOP("glyphd::CBluetoothSystemTrayDataItem", "Bluetooth"),
    QT_TRANSLATE_NOOP("glyphd::CBluetoothSystemTrayDataItem",
                      "File received and placed in the bluetooth inbox.\nFilename: %1"),
    QT_TRANSLATE_NOOP("glyphd::CBluetoothSystemTrayDataItem",
                      "Pair requested. You may go to the Bluetooth system page to complete the "
                      "pair by clicking on the icon above."),
    QT_TRANSLATE_NOOP("glyphd::CR7300mSystemTrayDataItem", "R7300m"),
    QT_TRANSLATE_NOOP("glyphd::CR7300mSystemTrayDataItem", "Microscope Error"),
    QT_TRANSLATE_NOOP("glyphd::CR7300mSystemTrayDataItem",
                      "The R7300m Microscope will not function in this USB port.  Please use the "
                      "other USB port."),
    QT_TRANSLATE_NOOP("glyphd::CR7300mSystemTrayDataItem",
                      "The R7300m Microscope will not function properly in this USB port.  Please "
                      "use Client USB port with a Mini OTG cable."),
    QT_TRANSLATE_NOOP("glyphd::CR7300mSystemTrayDataItem", "Lumiscope Not Supported"),
    QT_TRANSLATE_NOOP("glyphd::CR7300mSystemTrayDataItem",
                      "The Lumiscope microscope is not supported on this instrument."),
    QT_TRANSLATE_NOOP("glyphd::CGpsSystemTrayDataItem", "GPS"),
    QT_TRANSLATE_NOOP("glyphd::CClockSourceTrayDataItem", "ClockSource"),
    QT_TRANSLATE_NOOP("glyphd::CBatterySystemTrayDataItem", "Battery/Charger"),
    QT_TRANSLATE_NOOP("glyphd::CBeepingWarning", "System Warning"),
    QT_TRANSLATE_NOOP("glyphd::CBeepingWarning", "Default Warning"),
};
