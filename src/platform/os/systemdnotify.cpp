#include "systemdnotify.h"

#include <systemd/sd-daemon.h>

namespace systemd {

void notify()
{
    sd_notify(0, "READY=1");
}

} // namespace systemd
