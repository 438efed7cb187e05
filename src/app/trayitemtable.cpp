#include "trayitemtable.h"

#include "items/cvncsystemtraydataitem.h"

namespace glyphd {

namespace {

bool always(const InstrumentConfiguration &)
{
    return true;
}

template<class Item>
CSystemTrayDataItem *create(SyncSenderClient *client, QObject *application)
{
    return new Item(client, application);
}

} // namespace

const QVector<TrayItemRow> &trayItemTable()
{
    // A QRX4400 shows a fan alarm instead of the battery (neither on a rab) and has no
    // Bluetooth, audio, Wi-Fi, GPS or clock source.
    static const QVector<TrayItemRow> table = {
        {always, create<CVncSystemTrayDataItem>},
    };
    return table;
}

} // namespace glyphd
