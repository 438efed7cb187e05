#pragma once

#include "app/instrumentconfiguration.h"

#include <QObject>
#include <QStringList>
#include <QVector>

class SyncSenderClient;

namespace glyphd {

class CSystemTrayDataItem;

// One tray item the daemon may create: which, when, and how.
struct TrayItemRow
{
    const char *className;
    bool (*wanted)(const InstrumentConfiguration &configuration);
    CSystemTrayDataItem *(*create)(SyncSenderClient *client, QObject *application);
};

// Every item in creation order. The order is also the order in which the items are offered
// messages (the first that accepts one gets it), initialised and added to the tray.
const QVector<TrayItemRow> &trayItemTable();

// The classes of the items an instrument of this configuration shows, in creation order.
QStringList wantedTrayItems(const InstrumentConfiguration &configuration);

} // namespace glyphd
