#pragma once

#include "platform/message/message.h"

#include <string>

// The one conversation every round-trip benchmark has: the daemon asks the control panel for
// the Wi-Fi state and gets it back. The floor sends the very frames the router would carry.
namespace benchframes {

inline const std::string kRequester = "glyphd";
inline const std::string kAnswerer = "ctrlpanelsvc";
inline const std::string kKey = "WIFI_CONNECT_STATUS";
inline const std::string kValue = "\"ASSOCIATED\"";

Message request(std::uint32_t seqn);
Message reply(const Message &request);
// The wire form of a message (length field included).
std::string encoded(const Message &message);

} // namespace benchframes
