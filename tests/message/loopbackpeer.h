#pragma once
// Moved to tests/support; this forwarder stays until tests/libclient links glyphd_loopbackpeer.
#include "support/loopbackpeer.h"
