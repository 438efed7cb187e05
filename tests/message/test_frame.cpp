#include "platform/message/frame.h"
#include "support/routerpeer.h"

#include <gtest/gtest.h>

namespace {

using frame::DecodeStatus;
using namespace std::string_literals;

// The sample, "get" "KEY" from glyphd to ctrlpanelsvc with seqn 42, as it goes on the wire: the
// body length, version 1, type 1 (command), no flags, a reserved 0, the seqn, then each text
// behind its own length.
const std::string kSampleFrame = "\0\0\0\x2a"
                                 "\x01\x01\0\0"
                                 "\0\0\0\x2a"
                                 "\0\x06glyphd"
                                 "\0\x0c"
                                 "ctrlpanelsvc"
                                 "\0\x03get"
                                 "\0\0\0\x03KEY"s;

frame::DecodeResult decode(const std::string &bytes, std::size_t size = std::string::npos)
{
    Message scratch;
    return frame::decode(bytes.data(), std::min(size, bytes.size()), scratch);
}

} // namespace

// The sample byte for byte, and the limits that still hold. (That each decoded frame encodes
// back to the same bytes is the fuzzer's check.)
TEST(Frame, EncodeAndTheLimits)
{
    std::string bytes;
    ASSERT_TRUE(frame::encode(makeMessage("glyphd", "ctrlpanelsvc", "get", "KEY", 42), bytes));
    EXPECT_EQ(bytes, kSampleFrame);

    const std::string longestName(frame::kMaxNameLength, 'n');
    const Message accepted[] = {
        makeMessage("a", "b", "", ""), // the shortest body
        makeMessage(longestName, longestName, "get"),
        makeMessage("glyphd", "ctrlpanelsvc", "get", std::string(frame::kMaxBodyLength - 39, 'p')),
    };
    for (const Message &message : accepted) {
        bytes.clear();
        ASSERT_TRUE(frame::encode(message, bytes)) << message.source().size();
        Message decoded;
        EXPECT_EQ(frame::decode(bytes.data(), bytes.size(), decoded).status,
                  DecodeStatus::Complete);
        EXPECT_EQ(decoded, message);
    }
}

// Every rule of the frame table, broken one at a time in the sample. decidedAfter: the broken
// rule is already reported when only that many bytes are there, so a peer cannot make the
// reader wait for the rest of a frame that is wrong from its header.
TEST(Frame, DecodeRefusesEachBrokenRule)
{
    struct Case
    {
        const char *what;
        std::size_t offset;
        std::string bytes; // written over the sample at offset
        std::size_t decidedAfter = 0;
    };
    const Case cases[] = {
        {"length 19", 0, "\0\0\0\x13"s, 4},
        {"length 1 MiB + 1", 0, "\0\x10\0\x01"s, 4},
        {"version 2", 4, "\x02", 5},
        {"type 6", 5, "\x06", 6},
        {"flag bit 7 beside fan-out", 6, "\x81", 7},
        {"fan-out on ACK", 5, "\x02\x01", 7},
        {"reserved 1", 7, "\x01", 8},
        {"source of 256", 12, "\x01\0"s, 14},
        {"destination of 256", 20, "\x01\0"s, 22},
        {"source overruns the body", 12, "\0\xc8"s, 14},
        {"fields end before the length", 39, "\0\0\0\x02"s},
        {"fields run past the length", 39, "\0\0\0\x04"s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        std::string bytes = kSampleFrame;
        bytes.replace(c.offset, c.bytes.size(), c.bytes);
        EXPECT_EQ(decode(bytes).status, DecodeStatus::Malformed);
        if (c.decidedAfter > 0) {
            EXPECT_EQ(decode(bytes, c.decidedAfter).status, DecodeStatus::Malformed);
            EXPECT_EQ(decode(bytes, c.decidedAfter - 1).status, DecodeStatus::NeedMore);
        }
    }
}
