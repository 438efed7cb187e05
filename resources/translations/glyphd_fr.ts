<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr" sourcelanguage="en">
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
        <translation>Batterie/Chargeur</translation>
    </message>
    <message>
        <source>Battery level is low (%1%). Connect the AC adapter.</source>
        <translation>Niveau de batterie faible (%1%). Branchez l&apos;adaptateur secteur.</translation>
    </message>
    <message>
        <source>Battery level is critical (%1%). Connect the AC adapter now or the instrument will shut down.</source>
        <translation>Niveau de batterie critique (%1%). Branchez l&apos;adaptateur secteur maintenant, sinon l&apos;instrument va s&apos;éteindre.</translation>
    </message>
    <message>
        <source>Battery temperature is out of range. Charging is suspended.</source>
        <translation>La température de la batterie est hors plage. La charge est suspendue.</translation>
    </message>
</context>
<context>
    <name>glyphd::CBeepingWarning</name>
    <message>
        <source>System Warning</source>
        <translation>Avertissement système</translation>
    </message>
    <message>
        <source>Default Warning</source>
        <translation>Avertissement par défaut</translation>
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
        <translation>Fichier reçu et placé dans la boîte de réception Bluetooth.
Nom du fichier : %1</translation>
    </message>
    <message>
        <source>Pair requested. You may go to the Bluetooth system page to complete the pair by clicking on the icon above.</source>
        <translation>Demande d&apos;appairage. Touchez l&apos;icône ci-dessus pour ouvrir la page système Bluetooth et terminer l&apos;appairage.</translation>
    </message>
</context>
<context>
    <name>glyphd::CClockSourceTrayDataItem</name>
    <message>
        <source>ClockSource</source>
        <translation>Source d&apos;horloge</translation>
    </message>
</context>
<context>
    <name>glyphd::CFanSystemTrayDataItem</name>
    <message>
        <source>FAN</source>
        <translation>Ventilateur</translation>
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
        <translation>Gestionnaire de tâches</translation>
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
        <translation>Erreur du microscope</translation>
    </message>
    <message>
        <source>The R7300m Microscope will not function in this USB port.  Please use the other USB port.</source>
        <translation>Le microscope R7300m ne fonctionnera pas sur ce port USB.  Veuillez utiliser l&apos;autre port USB.</translation>
    </message>
    <message>
        <source>The R7300m Microscope will not function properly in this USB port.  Please use Client USB port with a Mini OTG cable.</source>
        <translation>Le microscope R7300m ne fonctionnera pas correctement sur ce port USB.  Veuillez utiliser le port USB client avec un câble Mini OTG.</translation>
    </message>
    <message>
        <source>Lumiscope Not Supported</source>
        <translation>Lumiscope non pris en charge</translation>
    </message>
    <message>
        <source>The Lumiscope microscope is not supported on this instrument.</source>
        <translation>Le microscope Lumiscope n&apos;est pas pris en charge par cet instrument.</translation>
    </message>
</context>
<context>
    <name>glyphd::CUsbFlashSystemTrayDataItem</name>
    <message>
        <source>Removable Storage</source>
        <translation>Stockage amovible</translation>
    </message>
    <message>
        <source>Format complete. Please remember to eject the device from the Removable Storage system page before removing it.</source>
        <translation>Formatage terminé. N&apos;oubliez pas d&apos;éjecter le périphérique depuis la page système Stockage amovible avant de le retirer.</translation>
    </message>
    <message>
        <source>Formatting device. Do not remove device until process is completed.</source>
        <translation>Formatage du périphérique en cours. Ne retirez pas le périphérique avant la fin de l&apos;opération.</translation>
    </message>
    <message>
        <source>The device was removed without being ejected. Data may be corrupted.</source>
        <translation>Le périphérique a été retiré sans avoir été éjecté. Les données risquent d&apos;être endommagées.</translation>
    </message>
    <message>
        <source>The device has been ejected and is safe to remove.</source>
        <translation>Le périphérique a été éjecté et peut être retiré en toute sécurité.</translation>
    </message>
    <message>
        <source>Please remember to eject the device from the Removable Storage system page before removing it.</source>
        <translation>N&apos;oubliez pas d&apos;éjecter le périphérique depuis la page système Stockage amovible avant de le retirer.</translation>
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
