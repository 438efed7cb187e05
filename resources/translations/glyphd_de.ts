<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>glyphd::CAudioSystemTrayDataItem</name>
    <message>
        <source>Audio</source>
        <translation>Audio</translation>
    </message>
</context>
<context>
    <name>glyphd::CBatterySystemTrayDataItem</name>
    <message>
        <source>Battery/Charger</source>
        <translation>Akku/Ladegerät</translation>
    </message>
    <message>
        <source>Battery level is low (%1%). Connect the AC adapter.</source>
        <translation>Akkustand niedrig (%1%). Schließen Sie das Netzteil an.</translation>
    </message>
    <message>
        <source>Battery level is critical (%1%). Connect the AC adapter now or the instrument will shut down.</source>
        <translation>Akkustand kritisch (%1%). Schließen Sie jetzt das Netzteil an, sonst schaltet sich das Gerät ab.</translation>
    </message>
    <message>
        <source>Battery temperature is out of range. Charging is suspended.</source>
        <translation>Akkutemperatur außerhalb des zulässigen Bereichs. Das Laden ist unterbrochen.</translation>
    </message>
</context>
<context>
    <name>glyphd::CBeepingWarning</name>
    <message>
        <source>System Warning</source>
        <translation>Systemwarnung</translation>
    </message>
    <message>
        <source>Default Warning</source>
        <translation>Standardwarnung</translation>
    </message>
</context>
<context>
    <name>glyphd::CBluetoothSystemTrayDataItem</name>
    <message>
        <source>Bluetooth</source>
        <translation>Bluetooth</translation>
    </message>
    <message>
        <source>File received and placed in the bluetooth inbox.
Filename: %1</source>
        <translation>Datei empfangen und im Bluetooth-Posteingang abgelegt.
Dateiname: %1</translation>
    </message>
    <message>
        <source>Pair requested. You may go to the Bluetooth system page to complete the pair by clicking on the icon above.</source>
        <translation>Kopplung angefordert. Tippen Sie auf das Symbol oben, um zur Bluetooth-Systemseite zu gelangen und die Kopplung abzuschließen.</translation>
    </message>
</context>
<context>
    <name>glyphd::CClockSourceTrayDataItem</name>
    <message>
        <source>ClockSource</source>
        <translation>Taktquelle</translation>
    </message>
</context>
<context>
    <name>glyphd::CFanSystemTrayDataItem</name>
    <message>
        <source>FAN</source>
        <translation>Lüfter</translation>
    </message>
</context>
<context>
    <name>glyphd::CGpsSystemTrayDataItem</name>
    <message>
        <source>GPS</source>
        <translation>GPS</translation>
    </message>
</context>
<context>
    <name>glyphd::CJobManagerSystemTrayDataItem</name>
    <message>
        <source>Job Manager</source>
        <translation>Auftragsverwaltung</translation>
    </message>
</context>
<context>
    <name>glyphd::CNtpSystemTrayDataItem</name>
    <message>
        <source>NTP</source>
        <translation>NTP</translation>
    </message>
</context>
<context>
    <name>glyphd::CR7300mSystemTrayDataItem</name>
    <message>
        <source>R7300m</source>
        <translation>R7300m</translation>
    </message>
    <message>
        <source>Microscope Error</source>
        <translation>Mikroskopfehler</translation>
    </message>
    <message>
        <source>The R7300m Microscope will not function in this USB port.  Please use the other USB port.</source>
        <translation>Das Mikroskop R7300m funktioniert an diesem USB-Anschluss nicht.  Bitte verwenden Sie den anderen USB-Anschluss.</translation>
    </message>
    <message>
        <source>The R7300m Microscope will not function properly in this USB port.  Please use Client USB port with a Mini OTG cable.</source>
        <translation>Das Mikroskop R7300m funktioniert an diesem USB-Anschluss nicht richtig.  Bitte verwenden Sie den Client-USB-Anschluss mit einem Mini-OTG-Kabel.</translation>
    </message>
    <message>
        <source>Lumiscope Not Supported</source>
        <translation>Lumiscope nicht unterstützt</translation>
    </message>
    <message>
        <source>The Lumiscope microscope is not supported on this instrument.</source>
        <translation>Das Mikroskop Lumiscope wird von diesem Gerät nicht unterstützt.</translation>
    </message>
</context>
<context>
    <name>glyphd::CUsbFlashSystemTrayDataItem</name>
    <message>
        <source>Removable Storage</source>
        <translation>Wechseldatenträger</translation>
    </message>
    <message>
        <source>Format complete. Please remember to eject the device from the Removable Storage system page before removing it.</source>
        <translation>Formatierung abgeschlossen. Bitte werfen Sie das Gerät vor dem Entfernen über die Systemseite „Wechseldatenträger“ aus.</translation>
    </message>
    <message>
        <source>Formatting device. Do not remove device until process is completed.</source>
        <translation>Gerät wird formatiert. Entfernen Sie das Gerät erst, wenn der Vorgang abgeschlossen ist.</translation>
    </message>
    <message>
        <source>The device was removed without being ejected. Data may be corrupted.</source>
        <translation>Das Gerät wurde entfernt, ohne ausgeworfen zu werden. Daten können beschädigt sein.</translation>
    </message>
    <message>
        <source>The device has been ejected and is safe to remove.</source>
        <translation>Das Gerät wurde ausgeworfen und kann sicher entfernt werden.</translation>
    </message>
    <message>
        <source>Please remember to eject the device from the Removable Storage system page before removing it.</source>
        <translation>Bitte werfen Sie das Gerät vor dem Entfernen über die Systemseite „Wechseldatenträger“ aus.</translation>
    </message>
</context>
<context>
    <name>glyphd::CVellumSystemTrayDataItem</name>
    <message>
        <source>Vellum</source>
        <translation>Vellum</translation>
    </message>
</context>
<context>
    <name>glyphd::CVflSystemTrayDataItem</name>
    <message>
        <source>Vfl</source>
        <translation>Vfl</translation>
    </message>
</context>
<context>
    <name>glyphd::CVncSystemTrayDataItem</name>
    <message>
        <source>VNC</source>
        <translation>VNC</translation>
    </message>
</context>
<context>
    <name>glyphd::CWifiSystemTrayDataItem</name>
    <message>
        <source>Wi-Fi</source>
        <translation>WLAN</translation>
    </message>
</context>
</TS>
