<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru" sourcelanguage="en">
<context>
    <name>glyphd::CAudioSystemTrayDataItem</name>
    <message>
        <source>Audio</source>
        <translation>Звук</translation>
    </message>
</context>
<context>
    <name>glyphd::CBatterySystemTrayDataItem</name>
    <message>
        <source>Battery/Charger</source>
        <translation>Батарея/Зарядное устройство</translation>
    </message>
    <message>
        <source>Battery level is low (%1%). Connect the AC adapter.</source>
        <translation>Низкий заряд батареи (%1%). Подключите сетевой адаптер.</translation>
    </message>
    <message>
        <source>Battery level is critical (%1%). Connect the AC adapter now or the instrument will shut down.</source>
        <translation>Критически низкий заряд батареи (%1%). Немедленно подключите сетевой адаптер, иначе прибор выключится.</translation>
    </message>
    <message>
        <source>Battery temperature is out of range. Charging is suspended.</source>
        <translation>Температура батареи вне допустимого диапазона. Зарядка приостановлена.</translation>
    </message>
</context>
<context>
    <name>glyphd::CBeepingWarning</name>
    <message>
        <source>System Warning</source>
        <translation>Системное предупреждение</translation>
    </message>
    <message>
        <source>Default Warning</source>
        <translation>Предупреждение по умолчанию</translation>
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
        <translation>Файл получен и помещён в папку входящих Bluetooth.
Имя файла: %1</translation>
    </message>
    <message>
        <source>Pair requested. You may go to the Bluetooth system page to complete the pair by clicking on the icon above.</source>
        <translation>Запрошено сопряжение. Чтобы завершить сопряжение, нажмите на значок выше и перейдите на системную страницу Bluetooth.</translation>
    </message>
</context>
<context>
    <name>glyphd::CClockSourceTrayDataItem</name>
    <message>
        <source>ClockSource</source>
        <translation>Источник тактового сигнала</translation>
    </message>
</context>
<context>
    <name>glyphd::CFanSystemTrayDataItem</name>
    <message>
        <source>FAN</source>
        <translation>Вентилятор</translation>
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
        <translation>Диспетчер заданий</translation>
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
        <translation>Ошибка микроскопа</translation>
    </message>
    <message>
        <source>The R7300m Microscope will not function in this USB port.  Please use the other USB port.</source>
        <translation>Микроскоп R7300m не будет работать в этом порту USB.  Используйте другой порт USB.</translation>
    </message>
    <message>
        <source>The R7300m Microscope will not function properly in this USB port.  Please use Client USB port with a Mini OTG cable.</source>
        <translation>Микроскоп R7300m не будет правильно работать в этом порту USB.  Используйте клиентский порт USB с кабелем Mini OTG.</translation>
    </message>
    <message>
        <source>Lumiscope Not Supported</source>
        <translation>Lumiscope не поддерживается</translation>
    </message>
    <message>
        <source>The Lumiscope microscope is not supported on this instrument.</source>
        <translation>Микроскоп Lumiscope не поддерживается этим прибором.</translation>
    </message>
</context>
<context>
    <name>glyphd::CUsbFlashSystemTrayDataItem</name>
    <message>
        <source>Removable Storage</source>
        <translation>Съёмный носитель</translation>
    </message>
    <message>
        <source>Format complete. Please remember to eject the device from the Removable Storage system page before removing it.</source>
        <translation>Форматирование завершено. Перед отключением устройства не забудьте извлечь его на системной странице «Съёмный носитель».</translation>
    </message>
    <message>
        <source>Formatting device. Do not remove device until process is completed.</source>
        <translation>Идёт форматирование устройства. Не отключайте устройство до завершения процесса.</translation>
    </message>
    <message>
        <source>The device was removed without being ejected. Data may be corrupted.</source>
        <translation>Устройство было отключено без предварительного извлечения. Данные могут быть повреждены.</translation>
    </message>
    <message>
        <source>The device has been ejected and is safe to remove.</source>
        <translation>Устройство извлечено, его можно безопасно отключить.</translation>
    </message>
    <message>
        <source>Please remember to eject the device from the Removable Storage system page before removing it.</source>
        <translation>Перед отключением устройства не забудьте извлечь его на системной странице «Съёмный носитель».</translation>
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
