// Every text the tray items show, under the class that shows it. Never compiled: the
// glyphd_lupdate target reads this file beside src/ so that a catalogue keeps the
// translations of texts whose item is not written yet (or is built only on some instruments)
// instead of marking them vanished, which lrelease would leave out of the .qm file.
// When a text changes in an item, change it here too.

#include <QtGlobal>

static const char *const glyphdItemTexts[] = {
    QT_TRANSLATE_NOOP("glyphd::CVncSystemTrayDataItem", "VNC"),
    QT_TRANSLATE_NOOP("glyphd::CWifiSystemTrayDataItem", "Wi-Fi"),
    QT_TRANSLATE_NOOP("glyphd::CAudioSystemTrayDataItem", "Audio"),
    QT_TRANSLATE_NOOP("glyphd::CVellumSystemTrayDataItem", "Vellum"),
    QT_TRANSLATE_NOOP("glyphd::CJobManagerSystemTrayDataItem", "Job Manager"),
    QT_TRANSLATE_NOOP("glyphd::CNtpSystemTrayDataItem", "NTP"),
    QT_TRANSLATE_NOOP("glyphd::CFanSystemTrayDataItem", "FAN"),
    QT_TRANSLATE_NOOP("glyphd::CVflSystemTrayDataItem", "Vfl"),
};
