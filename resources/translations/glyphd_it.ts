<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="it" sourcelanguage="en">
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
        <translation>Batteria/Caricabatterie</translation>
    </message>
    <message>
        <source>Battery level is low (%1%). Connect the AC adapter.</source>
        <translation>Livello della batteria basso (%1%). Collegare l&apos;alimentatore CA.</translation>
    </message>
    <message>
        <source>Battery level is critical (%1%). Connect the AC adapter now or the instrument will shut down.</source>
        <translation>Livello della batteria critico (%1%). Collegare subito l&apos;alimentatore CA, altrimenti lo strumento si spegnerà.</translation>
    </message>
    <message>
        <source>Battery temperature is out of range. Charging is suspended.</source>
        <translation>La temperatura della batteria è fuori intervallo. La ricarica è sospesa.</translation>
    </message>
</context>
<context>
    <name>glyphd::CBeepingWarning</name>
    <message>
        <source>System Warning</source>
        <translation>Avviso di sistema</translation>
    </message>
    <message>
        <source>Default Warning</source>
        <translation>Avviso predefinito</translation>
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
        <translation>File ricevuto e salvato nella posta in arrivo Bluetooth.
Nome file: %1</translation>
    </message>
    <message>
        <source>Pair requested. You may go to the Bluetooth system page to complete the pair by clicking on the icon above.</source>
        <translation>Richiesta di associazione. Toccare l&apos;icona in alto per aprire la pagina di sistema Bluetooth e completare l&apos;associazione.</translation>
    </message>
</context>
<context>
    <name>glyphd::CClockSourceTrayDataItem</name>
    <message>
        <source>ClockSource</source>
        <translation>Sorgente di clock</translation>
    </message>
</context>
<context>
    <name>glyphd::CFanSystemTrayDataItem</name>
    <message>
        <source>FAN</source>
        <translation>Ventola</translation>
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
        <translation>Gestione lavori</translation>
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
        <translation>Errore del microscopio</translation>
    </message>
    <message>
        <source>The R7300m Microscope will not function in this USB port.  Please use the other USB port.</source>
        <translation>Il microscopio R7300m non funziona in questa porta USB.  Utilizzare l&apos;altra porta USB.</translation>
    </message>
    <message>
        <source>The R7300m Microscope will not function properly in this USB port.  Please use Client USB port with a Mini OTG cable.</source>
        <translation>Il microscopio R7300m non funziona correttamente in questa porta USB.  Utilizzare la porta USB client con un cavo Mini OTG.</translation>
    </message>
    <message>
        <source>Lumiscope Not Supported</source>
        <translation>Lumiscope non supportato</translation>
    </message>
    <message>
        <source>The Lumiscope microscope is not supported on this instrument.</source>
        <translation>Il microscopio Lumiscope non è supportato da questo strumento.</translation>
    </message>
</context>
<context>
    <name>glyphd::CUsbFlashSystemTrayDataItem</name>
    <message>
        <source>Removable Storage</source>
        <translation>Archiviazione rimovibile</translation>
    </message>
    <message>
        <source>Format complete. Please remember to eject the device from the Removable Storage system page before removing it.</source>
        <translation>Formattazione completata. Ricordarsi di espellere il dispositivo dalla pagina di sistema Archiviazione rimovibile prima di rimuoverlo.</translation>
    </message>
    <message>
        <source>Formatting device. Do not remove device until process is completed.</source>
        <translation>Formattazione del dispositivo in corso. Non rimuovere il dispositivo fino al termine del processo.</translation>
    </message>
    <message>
        <source>The device was removed without being ejected. Data may be corrupted.</source>
        <translation>Il dispositivo è stato rimosso senza essere espulso. I dati potrebbero essere danneggiati.</translation>
    </message>
    <message>
        <source>The device has been ejected and is safe to remove.</source>
        <translation>Il dispositivo è stato espulso e può essere rimosso in sicurezza.</translation>
    </message>
    <message>
        <source>Please remember to eject the device from the Removable Storage system page before removing it.</source>
        <translation>Ricordarsi di espellere il dispositivo dalla pagina di sistema Archiviazione rimovibile prima di rimuoverlo.</translation>
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
        <translation>Wi-Fi</translation>
    </message>
</context>
</TS>
