#include "trayitemtable.h"

#include "items/caudiosystemtraydataitem.h"
#include "items/cbatterysystemtraydataitem.h"
#include "items/cbluetoothsystemtraydataitem.h"
#include "items/cclocksourcetraydataitem.h"
#include "items/cfansystemtraydataitem.h"
#include "items/cgpssystemtraydataitem.h"
#include "items/cjobmanagersystemtraydataitem.h"
#include "items/cntpsystemtraydataitem.h"
#include "items/cr7300msystemtraydataitem.h"
#include "items/cusbflashsystemtraydataitem.h"
#include "items/cvellumsystemtraydataitem.h"
#include "items/cvflsystemtraydataitem.h"
#include "items/cvncsystemtraydataitem.h"
#include "items/cwifisystemtraydataitem.h"

namespace glyphd {

namespace {

bool always(const InstrumentConfiguration &)
{
    return true;
}

// A QRX4400 has a fan alarm instead of the battery, and a QRX4400 on a rab has neither.
bool hasFanAlarm(const InstrumentConfiguration &configuration)
{
    return configuration.qrx4400 && !configuration.rab;
}

// Everything but a QRX4400: battery, Bluetooth, audio, Wi-Fi, GPS and clock source.
bool isNotQrx4400(const InstrumentConfiguration &configuration)
{
    return !configuration.qrx4400;
}

template<class Item>
CSystemTrayDataItem *create(SyncSenderClient *client, QObject *application)
{
    return new Item(client, application);
}

} // namespace

const QVector<TrayItemRow> &trayItemTable()
{
    static const QVector<TrayItemRow> table = {
        {"CFanSystemTrayDataItem", hasFanAlarm, create<CFanSystemTrayDataItem>},
        {"CBatterySystemTrayDataItem", isNotQrx4400, create<CBatterySystemTrayDataItem>},
        {"CNtpSystemTrayDataItem", always, create<CNtpSystemTrayDataItem>},
        {"CUsbFlashSystemTrayDataItem", always, create<CUsbFlashSystemTrayDataItem>},
        {"CVncSystemTrayDataItem", always, create<CVncSystemTrayDataItem>},
        {"CBluetoothSystemTrayDataItem", isNotQrx4400, create<CBluetoothSystemTrayDataItem>},
        {"CAudioSystemTrayDataItem", isNotQrx4400, create<CAudioSystemTrayDataItem>},
        {"CR7300mSystemTrayDataItem", always, create<CR7300mSystemTrayDataItem>},
        {"CVellumSystemTrayDataItem", always, create<CVellumSystemTrayDataItem>},
        {"CJobManagerSystemTrayDataItem", always, create<CJobManagerSystemTrayDataItem>},
        {"CWifiSystemTrayDataItem", isNotQrx4400, create<CWifiSystemTrayDataItem>},
        {"CGpsSystemTrayDataItem", isNotQrx4400, create<CGpsSystemTrayDataItem>},
        {"CClockSourceTrayDataItem", isNotQrx4400, create<CClockSourceTrayDataItem>},
        {"CVflSystemTrayDataItem", always, create<CVflSystemTrayDataItem>},
    };
    return table;
}

QStringList wantedTrayItems(const InstrumentConfiguration &configuration)
{
    QStringList classes;
    for (const TrayItemRow &row : trayItemTable()) {
        if (row.wanted(configuration)) {
            classes.append(QLatin1String(row.className));
        }
    }
    return classes;
}

} // namespace glyphd
