#include "cvncsystemtraydataitem.h"

#include <QString>

namespace glyphd {

namespace {

enum VncState : int { NoUserState = 0, OneUserState = 9, SeveralUsersState = 10 };

} // namespace

// The title is translated with the class named: lupdate files an unqualified tr() in an
// initializer list under the namespace, where the running program would never look it up.
CVncSystemTrayDataItem::CVncSystemTrayDataItem(SyncSenderClient *client, QObject *parent)
    : CSingleValueTrayDataItem(
          client, parent, CVncSystemTrayDataItem::tr("VNC"),
          {"VNC_USERS", "VNC_USERS", "REMOTE", "CVncSystemDataItem could not initialize"})
{}

CVncSystemTrayDataItem::~CVncSystemTrayDataItem() = default;

// The value is the number of connected users; anything that is not a positive number shows
// nobody.
int CVncSystemTrayDataItem::stateForValue(const QByteArray &value) const
{
    bool isNumber = false;
    const int users = QString::fromUtf8(value).toInt(&isNumber, 10);
    if (!isNumber || users < 1)
        return NoUserState;
    return users == 1 ? OneUserState : SeveralUsersState;
}

} // namespace glyphd
