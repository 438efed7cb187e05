<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN" sourcelanguage="en">
<context>
    <name>glyphd::CAudioSystemTrayDataItem</name>
    <message>
        <source>Audio</source>
        <translation>音频</translation>
    </message>
</context>
<context>
    <name>glyphd::CBatterySystemTrayDataItem</name>
    <message>
        <source>Battery/Charger</source>
        <translation>电池/充电器</translation>
    </message>
    <message>
        <source>Battery level is low (%1%). Connect the AC adapter.</source>
        <translation>电池电量低 (%1%)。请连接交流适配器。</translation>
    </message>
    <message>
        <source>Battery level is critical (%1%). Connect the AC adapter now or the instrument will shut down.</source>
        <translation>电池电量严重不足 (%1%)。请立即连接交流适配器，否则仪器将关机。</translation>
    </message>
    <message>
        <source>Battery temperature is out of range. Charging is suspended.</source>
        <translation>电池温度超出范围。充电已暂停。</translation>
    </message>
</context>
<context>
    <name>glyphd::CBeepingWarning</name>
    <message>
        <source>System Warning</source>
        <translation>系统警告</translation>
    </message>
    <message>
        <source>Default Warning</source>
        <translation>默认警告</translation>
    </message>
</context>
<context>
    <name>glyphd::CBluetoothSystemTrayDataItem</name>
    <message>
        <source>Bluetooth</source>
        <translation>蓝牙</translation>
    </message>
    <message>
        <source>File received and placed in the bluetooth inbox.
Filename: %1</source>
        <translation>已接收文件并放入蓝牙收件箱。
文件名：%1</translation>
    </message>
    <message>
        <source>Pair requested. You may go to the Bluetooth system page to complete the pair by clicking on the icon above.</source>
        <translation>收到配对请求。点击上方的图标即可前往蓝牙系统页面完成配对。</translation>
    </message>
</context>
<context>
    <name>glyphd::CClockSourceTrayDataItem</name>
    <message>
        <source>ClockSource</source>
        <translation>时钟源</translation>
    </message>
</context>
<context>
    <name>glyphd::CFanSystemTrayDataItem</name>
    <message>
        <source>FAN</source>
        <translation>风扇</translation>
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
        <translation>作业管理器</translation>
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
        <translation>显微镜错误</translation>
    </message>
    <message>
        <source>The R7300m Microscope will not function in this USB port.  Please use the other USB port.</source>
        <translation>R7300m 显微镜无法在此 USB 端口上工作。请使用另一个 USB 端口。</translation>
    </message>
    <message>
        <source>The R7300m Microscope will not function properly in this USB port.  Please use Client USB port with a Mini OTG cable.</source>
        <translation>R7300m 显微镜无法在此 USB 端口上正常工作。请通过 Mini OTG 线缆连接客户端 USB 端口。</translation>
    </message>
    <message>
        <source>Lumiscope Not Supported</source>
        <translation>不支持 Lumiscope</translation>
    </message>
    <message>
        <source>The Lumiscope microscope is not supported on this instrument.</source>
        <translation>本仪器不支持 Lumiscope 显微镜。</translation>
    </message>
</context>
<context>
    <name>glyphd::CUsbFlashSystemTrayDataItem</name>
    <message>
        <source>Removable Storage</source>
        <translation>可移动存储</translation>
    </message>
    <message>
        <source>Format complete. Please remember to eject the device from the Removable Storage system page before removing it.</source>
        <translation>格式化完成。拔出设备前，请记得先在“可移动存储”系统页面中弹出设备。</translation>
    </message>
    <message>
        <source>Formatting device. Do not remove device until process is completed.</source>
        <translation>正在格式化设备。在此过程完成之前，请勿拔出设备。</translation>
    </message>
    <message>
        <source>The device was removed without being ejected. Data may be corrupted.</source>
        <translation>设备未经弹出即被拔出。数据可能已损坏。</translation>
    </message>
    <message>
        <source>The device has been ejected and is safe to remove.</source>
        <translation>设备已弹出，可以安全拔出。</translation>
    </message>
    <message>
        <source>Please remember to eject the device from the Removable Storage system page before removing it.</source>
        <translation>拔出设备前，请记得先在“可移动存储”系统页面中弹出设备。</translation>
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
