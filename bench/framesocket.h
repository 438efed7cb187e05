#pragma once

#include <cstddef>
#include <string>

// Blocking TCP on 127.0.0.1 for the benchmarks' own clients, without any framing library in
// the way: what the floor measures must cost no more than the kernel does.
namespace framesocket {

// A connected socket with TCP_NODELAY, or -1.
int connectTo(int port);
// A listening socket on a kernel-chosen port; *port receives it. -1 on failure.
int listenOnAnyPort(int *port);
bool writeAll(int fd, const char *data, std::size_t size);
inline bool writeAll(int fd, const std::string &bytes)
{
    return writeAll(fd, bytes.data(), bytes.size());
}
bool readExact(int fd, char *data, std::size_t size);
// One length-prefixed frame (length field included) into frame; false at end of stream.
bool readFrame(int fd, std::string &frame);
// Drops exactly size bytes.
bool discard(int fd, std::size_t size);

} // namespace framesocket
