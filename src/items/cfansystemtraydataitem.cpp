#include "cfansystemtraydataitem.h"

#include "tray/csystemtrayicon.h"

#include <QtDebug>

namespace glyphd {

namespace {

// Not a picture: the mark of a value outside the table.
const int kUnknownValue = -1;

} // namespace

CFanSystemTrayDataItem::CFanSystemTrayDataItem(SyncSenderClient *client, QObject *parent)
    : CSingleValueTrayDataItem(client, parent, CFanSystemTrayDataItem::tr("FAN"),
                               {"FAN_ALARM_STATUS",
                                "FAN_ALARM_STATUS",
                                "FAN",
                                "CFanSystemTrayDataItem could not initialize",
                                {{"FAN ALARM FAULT", 42}, {"FAN ALARM CLEARED", 0}},
                                kUnknownValue})
{}

// Unlike the other items with an icon owner, this item ends its icon's life with its own.
CFanSystemTrayDataItem::~CFanSystemTrayDataItem()
{
    delete trayIcon();
}

void CFanSystemTrayDataItem::applyValue(const QByteArray &value)
{
    int state = stateForValue(value);
    if (state == kUnknownValue) {
        qWarning("wrong configValue: %s", value.constData());
        state = trayIcon()->state();
    }
    showState(state, Refresh::Always);
}

} // namespace glyphd
