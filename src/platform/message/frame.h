#pragma once

#include "message.h"

#include <cstddef>
#include <cstdint>
#include <string>

// The wire form of a Message: one length-prefixed, big-endian frame.
namespace frame {

constexpr std::size_t kLengthFieldSize = 4;
constexpr std::uint32_t kMinBodyLength = 20;
constexpr std::uint32_t kMaxBodyLength = 1048576;
constexpr std::uint8_t kVersion = 1;
constexpr std::uint8_t kFlagFanOut = 0x01;
constexpr std::size_t kMaxNameLength = 255;

// Appends the frame of message to out. Returns false (and appends nothing) when the message
// cannot be framed: source or destination longer than 255 bytes, command longer than 65535,
// a frame body outside kMinBodyLength..kMaxBodyLength (the fixed fields take 18 bytes, so the
// four texts together need at least 2), or the fan-out flag on a message that is not a
// command.
bool encode(const Message &message, std::string &out);

enum class DecodeStatus {
    Complete,  // one frame decoded into message, consumed says how many bytes it took
    NeedMore,  // the bytes hold no whole frame yet
    Malformed, // the bytes break the frame rules: the connection must be closed
};

struct DecodeResult
{
    DecodeStatus status = DecodeStatus::NeedMore;
    std::size_t consumed = 0;
    std::string error; // why the frame is malformed
};

// Decodes the first frame of data[0, size). A length field out of range is reported as
// Malformed as soon as the four length bytes are there.
DecodeResult decode(const char *data, std::size_t size, Message &message);

// A client name (what "register" may claim): 1 to 64 ASCII letters, digits, '_', '-', '.'.
bool isValidClientName(const std::string &name);

} // namespace frame
