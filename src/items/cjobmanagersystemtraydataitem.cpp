#include "cjobmanagersystemtraydataitem.h"

#include "tray/csystemtrayicon.h"

#include <QPen>

namespace glyphd {

namespace {

enum JobState : int { NoJobState = 0, JobOpenState = 19 };

// Where the status text goes on the icon's picture: below the clipboard.
const int kTextX = 2, kTextY = 22, kTextWidth = 38, kTextHeight = 16;

} // namespace

// No screen name: the item takes the taps itself. The icon belongs to the item.
CJobManagerSystemTrayDataItem::CJobManagerSystemTrayDataItem(SyncSenderClient *client, QObject *)
    : CSingleValueTrayDataItem(client, nullptr, CJobManagerSystemTrayDataItem::tr("Job Manager"),
                               {"JOBMANAGER_STATUS",
                                "JOBMANAGER_",
                                nullptr,
                                "CJobManagerSystemTrayDataItem failed to initialized",
                                {},
                                /* otherState */ 0,
                                kControlPanelService,
                                /* keyMustMatch */ true,
                                "jobmanager_"})
{
    connect(trayIcon(), SIGNAL(trayIconClicked()), this, SLOT(slotJmIconClicked()));
}

CJobManagerSystemTrayDataItem::~CJobManagerSystemTrayDataItem() = default;

void CJobManagerSystemTrayDataItem::slotJmIconClicked()
{
    sendToHomePage("raise_jobmanager", QByteArray());
}

// Every value redraws the icon, even in the same state, so that the new text replaces the old.
void CJobManagerSystemTrayDataItem::applyValue(const QByteArray &value)
{
    CSystemTrayIcon *icon = trayIcon();
    icon->setState(value.isEmpty() ? NoJobState : JobOpenState);
    icon->drawTextInRect(QString::fromUtf8(value), kTextX, kTextY, kTextWidth, kTextHeight,
                         QPen(Qt::white));
    icon->refresh();
}

} // namespace glyphd
