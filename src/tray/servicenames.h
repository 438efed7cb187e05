#pragma once

namespace glyphd {

// The instrument services the daemon talks to, by their names on the router.

// Answers value requests, takes the daemon's registration, sends the notifications.
inline constexpr char kControlPanelService[] = "ctrlpanelsvc";
// Raises the settings page of a tapped icon.
inline constexpr char kHomePageService[] = "homepage";

} // namespace glyphd
