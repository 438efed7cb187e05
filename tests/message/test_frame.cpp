#include "platform/message/frame.h"
#include "support/loopbackpeer.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using frame::DecodeStatus;

// The fields of a frame exactly as they go on the wire, so that a test can break any one rule.
struct RawFrame
{
    std::uint8_t version = 1, type = 1, flags = 0, reserved = 0;
    std::uint32_t seqn = 42;
    std::string source = "glyphd", destination = "ctrlpanelsvc", command = "get", params = "KEY";
    std::optional<std::uint32_t> length; // the true length (42 as it stands) when not set
    std::string trailer;                 // bytes after the last field

    std::string bytes() const
    {
        std::string body{char(version), char(type), char(flags), char(reserved)};
        append(body, seqn, 4);
        for (const std::string *text : {&source, &destination, &command}) {
            append(body, text->size(), 2);
            body += *text;
        }
        append(body, params.size(), 4);
        body += params;
        std::string out;
        append(out, length.value_or(body.size()), 4);
        return out + body + trailer;
    }

    static void append(std::string &out, std::uint64_t value, int bytes)
    {
        for (int i = bytes - 1; i >= 0; --i)
            out += static_cast<char>((value >> (8 * i)) & 0xFF);
    }
};

frame::DecodeResult decode(const std::string &bytes, std::size_t size = std::string::npos)
{
    Message scratch;
    return frame::decode(bytes.data(), std::min(size, bytes.size()), scratch);
}

Message sampleMessage()
{
    return makeMessage("glyphd", "ctrlpanelsvc", "get", "KEY", 0xDEADBEEF);
}

} // namespace

// Every rule of the frame table, broken one at a time, next to the limits that still hold.
// decidedAfter: a broken rule is already reported when only that many bytes are there, so a
// peer cannot make the reader wait for the rest of a frame that is wrong from its header.
TEST(Frame, DecodeTable)
{
    constexpr DecodeStatus ok = DecodeStatus::Complete, bad = DecodeStatus::Malformed;
    struct Case
    {
        const char *what;
        void (*change)(RawFrame &);
        DecodeStatus expected;
        std::size_t decidedAfter = 0;
    };
    // clang-format off
    const Case cases[] = {
        {"sample", [](RawFrame &) {}, ok},
        {"smallest", [](RawFrame &f) { f.source = "a", f.destination = "b", f.params = ""; }, ok},
        {"largest", [](RawFrame &f) { f.params.assign(frame::kMaxBodyLength - 39, 'p'); }, ok},
        {"length 19", [](RawFrame &f) { f.length = frame::kMinBodyLength - 1; }, bad, 4},
        {"length 1 MiB + 1", [](RawFrame &f) { f.length = frame::kMaxBodyLength + 1; }, bad, 4},
        {"version 2", [](RawFrame &f) { f.version = 2; }, bad, 5},
        {"type 6", [](RawFrame &f) { f.type = 6; }, bad, 6},
        {"flag bit 7 beside fan-out", [](RawFrame &f) { f.flags = 0x81; }, bad, 7},
        {"fan-out on a command", [](RawFrame &f) { f.flags = 1; }, ok},
        {"fan-out on ACK", [](RawFrame &f) { f.type = 2, f.flags = 1; }, bad, 7},
        {"reserved 1", [](RawFrame &f) { f.reserved = 1; }, bad, 8},
        {"names of 255", [](RawFrame &f) { f.source = f.destination = std::string(255, 'n'); }, ok},
        {"source of 256", [](RawFrame &f) { f.source.assign(256, 's'); }, bad, 14},
        {"destination of 256", [](RawFrame &f) { f.destination.assign(256, 'd'); }, bad, 22},
        {"fields end before the length", [](RawFrame &f) { f.length = 43, f.trailer = "x"; }, bad},
        {"fields run past the length", [](RawFrame &f) { f.length = 41; }, bad},
        {"source overruns", [](RawFrame &f) { f.source.assign(200, 's'), f.length = 99; }, bad, 14},
    };
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        RawFrame raw;
        c.change(raw);
        const std::string bytes = raw.bytes();
        Message decoded;
        const frame::DecodeResult result = frame::decode(bytes.data(), bytes.size(), decoded);
        EXPECT_EQ(result.status, c.expected) << result.error;
        if (c.expected == DecodeStatus::Complete) {
            // Every field read where the table puts it.
            Message expected = makeMessage(raw.source, raw.destination, raw.command, raw.params,
                                           raw.seqn, MessageType(raw.type));
            expected.setFanOut(raw.flags == frame::kFlagFanOut);
            EXPECT_EQ(decoded, expected);
            EXPECT_EQ(result.consumed, bytes.size());
        } else {
            EXPECT_FALSE(result.error.empty());
        }
        if (c.decidedAfter > 0) {
            EXPECT_EQ(decode(bytes, c.decidedAfter).status, DecodeStatus::Malformed);
            EXPECT_EQ(decode(bytes, c.decidedAfter - 1).status, DecodeStatus::NeedMore);
        }
    }
}

// What cannot be framed is refused and leaves the output as it was.
TEST(Frame, EncodeRefusesWhatCannotBeFramedAndAppendsNothing)
{
    const std::pair<const char *, void (*)(Message &)> cases[] = {
        {"source of 256", [](Message &m) { m.setSource(std::string(256, 's')); }},
        {"body under 20", [](Message &m) { m = Message(), m.setSource("a"); }},
    };
    for (const auto &[what, change] : cases) {
        Message message = sampleMessage();
        change(message);
        std::string bytes = "kept";
        EXPECT_FALSE(frame::encode(message, bytes)) << what;
        EXPECT_EQ(bytes, "kept") << what;
    }
}
