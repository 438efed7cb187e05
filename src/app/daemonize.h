#pragma once

namespace glyphd {

// Detaches from the terminal's session with a double fork; the calling process exits with
// status 0, the grandchild returns in a session of its own with "/" as working directory.
// Must run while the process has a single thread. Exits with status 1 when a fork fails.
void daemonize();

} // namespace glyphd
