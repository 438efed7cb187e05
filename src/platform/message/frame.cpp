#include "frame.h"

#include <array>

namespace frame {

namespace {

// Version, type, flags, reserved and seqn: the part of the body before the first size field.
constexpr std::size_t kHeaderLength = 8;

// A variable field of the body: its size field and the largest size it may declare.
struct FieldRule
{
    const char *name;
    std::size_t sizeFieldLength;
    std::size_t maxLength;
};

constexpr std::array<FieldRule, 4> kFields{{
    {"source", 2, kMaxNameLength},
    {"destination", 2, kMaxNameLength},
    {"command", 2, 0xFFFF},
    {"parameters", 4, kMaxBodyLength},
}};

constexpr std::size_t kFixedBodyLength = kHeaderLength + 2 + 2 + 2 + 4;

std::uint32_t readBigEndian(const unsigned char *bytes, std::size_t count)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value = (value << 8) | bytes[i];
    return value;
}

void appendBigEndian(std::string &out, std::uint32_t value, std::size_t count)
{
    for (std::size_t i = count; i > 0; --i)
        out.push_back(static_cast<char>((value >> (8 * (i - 1))) & 0xFF));
}

void appendField(std::string &out, const std::string &field, std::size_t sizeFieldLength)
{
    appendBigEndian(out, static_cast<std::uint32_t>(field.size()), sizeFieldLength);
    out += field;
}

DecodeResult malformed(std::string why)
{
    DecodeResult result;
    result.status = DecodeStatus::Malformed;
    result.error = std::move(why);
    return result;
}

// The fixed header bytes are judged one by one as they arrive, so that a peer talking another
// protocol is turned away after its first few bytes.
std::string headerError(const unsigned char *bytes, std::size_t size)
{
    const std::size_t available = size - kLengthFieldSize;
    const unsigned char *header = bytes + kLengthFieldSize;
    if (available > 0 && header[0] != kVersion)
        return "unsupported version " + std::to_string(header[0]);
    if (available > 1 && !isValidMessageType(header[1]))
        return "unknown message type " + std::to_string(header[1]);
    if (available > 2) {
        const std::uint8_t flags = header[2];
        if (flags & ~kFlagFanOut)
            return "unknown flag bits " + std::to_string(flags);
        if ((flags & kFlagFanOut) && header[1] != static_cast<std::uint8_t>(MessageType::Command))
            return "fan-out flag on a message of type " + std::to_string(header[1]);
    }
    if (available > 3 && header[3] != 0)
        return "reserved byte is " + std::to_string(header[3]);
    return {};
}

} // namespace

bool encode(const Message &message, std::string &out)
{
    const auto type = static_cast<std::uint8_t>(message.type());
    if (!isValidMessageType(type))
        return false;
    if (message.isFanOut() && message.type() != MessageType::Command)
        return false;

    const std::array<const std::string *, 4> fields{&message.source(), &message.destination(),
                                                    &message.command(), &message.params()};
    std::size_t bodyLength = kFixedBodyLength;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (fields[i]->size() > kFields[i].maxLength)
            return false;
        bodyLength += fields[i]->size();
    }
    if (bodyLength < kMinBodyLength || bodyLength > kMaxBodyLength)
        return false;

    out.reserve(out.size() + kLengthFieldSize + bodyLength);
    appendBigEndian(out, static_cast<std::uint32_t>(bodyLength), 4);
    out.push_back(static_cast<char>(kVersion));
    out.push_back(static_cast<char>(type));
    out.push_back(static_cast<char>(message.isFanOut() ? kFlagFanOut : 0));
    out.push_back(0);
    appendBigEndian(out, message.seqn(), 4);
    for (std::size_t i = 0; i < fields.size(); ++i)
        appendField(out, *fields[i], kFields[i].sizeFieldLength);
    return true;
}

DecodeResult decode(const char *data, std::size_t size, Message &message)
{
    DecodeResult needMore;
    if (size < kLengthFieldSize)
        return needMore;

    const auto *bytes = reinterpret_cast<const unsigned char *>(data);
    const std::uint32_t length = readBigEndian(bytes, kLengthFieldSize);
    if (length < kMinBodyLength || length > kMaxBodyLength)
        return malformed("frame length " + std::to_string(length) + " out of range");

    std::string error = headerError(bytes, size);
    if (!error.empty())
        return malformed(std::move(error));

    // Each size field is checked against the frame length as soon as it arrives; the contents
    // are only copied once the whole frame is there.
    const std::size_t frameEnd = kLengthFieldSize + length;
    std::size_t pos = kLengthFieldSize + kHeaderLength;
    std::size_t sizeFieldsLeft = kFixedBodyLength - kHeaderLength;
    std::array<std::pair<std::size_t, std::size_t>, kFields.size()> spans{};
    for (std::size_t i = 0; i < kFields.size(); ++i) {
        const FieldRule &rule = kFields[i];
        if (size < pos + rule.sizeFieldLength)
            return needMore;
        const std::size_t fieldLength = readBigEndian(bytes + pos, rule.sizeFieldLength);
        if (fieldLength > rule.maxLength)
            return malformed(std::string(rule.name) + " is " + std::to_string(fieldLength) +
                             " bytes long");
        pos += rule.sizeFieldLength;
        sizeFieldsLeft -= rule.sizeFieldLength;
        const std::size_t fieldEnd = pos + fieldLength;
        if (fieldEnd + sizeFieldsLeft > frameEnd)
            return malformed("field sizes exceed the frame length " + std::to_string(length));
        if (i + 1 == kFields.size() && fieldEnd < frameEnd)
            return malformed("field sizes fall short of the frame length " +
                             std::to_string(length));
        spans[i] = {pos, fieldLength};
        pos = fieldEnd;
    }
    if (size < frameEnd)
        return needMore;

    const auto field = [&](std::size_t i) {
        return std::string(data + spans[i].first, spans[i].second);
    };
    message.setType(static_cast<MessageType>(bytes[kLengthFieldSize + 1]));
    message.setFanOut(bytes[kLengthFieldSize + 2] & kFlagFanOut);
    message.setSeqn(readBigEndian(bytes + kLengthFieldSize + 4, 4));
    message.setSource(field(0));
    message.setDestination(field(1));
    message.setCommand(field(2));
    message.setParams(field(3));

    DecodeResult result;
    result.status = DecodeStatus::Complete;
    result.consumed = frameEnd;
    return result;
}

bool isValidClientName(const std::string &name)
{
    constexpr std::size_t kMaxClientNameLength = 64;
    if (name.empty() || name.size() > kMaxClientNameLength)
        return false;
    for (const char c : name) {
        const bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                             (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.';
        if (!allowed)
            return false;
    }
    return true;
}

} // namespace frame
