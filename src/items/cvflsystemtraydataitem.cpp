#include "cvflsystemtraydataitem.h"

namespace glyphd {

// Only "True" exactly means emitting; true, TRUE or 1 clear the warning.
CVflSystemTrayDataItem::CVflSystemTrayDataItem(SyncSenderClient *client, QObject *parent)
    : CSingleValueTrayDataItem(client, parent, CVflSystemTrayDataItem::tr("Vfl"),
                               {nullptr,
                                "LASER_WARNING",
                                "",
                                nullptr,
                                {{"True", 43}},
                                /* otherState */ 0,
                                /* any source */ nullptr})
{}

CVflSystemTrayDataItem::~CVflSystemTrayDataItem() = default;

} // namespace glyphd
