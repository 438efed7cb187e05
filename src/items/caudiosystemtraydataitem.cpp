#include "caudiosystemtraydataitem.h"

namespace glyphd {

// No key and no prefix: initialisation applies the empty value, which, like every value,
// shows the audio icon.
CAudioSystemTrayDataItem::CAudioSystemTrayDataItem(SyncSenderClient *client, QObject *parent)
    : CSingleValueTrayDataItem(client, parent, CAudioSystemTrayDataItem::tr("Audio"),
                               {nullptr, nullptr, "AUDIO", nullptr, {}, /* otherState */ 11})
{}

CAudioSystemTrayDataItem::~CAudioSystemTrayDataItem() = default;

} // namespace glyphd
