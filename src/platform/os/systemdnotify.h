#pragma once

namespace systemd {

// Tells the service manager that start-up is complete ("READY=1" on $NOTIFY_SOCKET).
// Does nothing when the process was not started by a service manager.
void notify();

} // namespace systemd
