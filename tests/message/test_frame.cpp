#include "platform/message/frame.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

// The fields of a frame exactly as they go on the wire, so that tests can break any one rule.
struct RawFrame
{
    std::uint8_t version = 1;
    std::uint8_t type = 1;
    std::uint8_t flags = 0;
    std::uint8_t reserved = 0;
    std::uint32_t seqn = 42;
    std::string source = "glyphd";
    std::string destination = "ctrlpanelsvc";
    std::string command = "get";
    std::string params = "WIFI_CONNECT_STATUS";
    // Added to the length field after computing it.
    int lengthAdjustment = 0;

    std::string bytes() const
    {
        std::string body;
        body += static_cast<char>(version);
        body += static_cast<char>(type);
        body += static_cast<char>(flags);
        body += static_cast<char>(reserved);
        appendNumber(body, seqn, 4);
        appendNumber(body, source.size(), 2);
        body += source;
        appendNumber(body, destination.size(), 2);
        body += destination;
        appendNumber(body, command.size(), 2);
        body += command;
        appendNumber(body, params.size(), 4);
        body += params;
        std::string out;
        appendNumber(out, body.size() + lengthAdjustment, 4);
        return out + body;
    }

    static void appendNumber(std::string &out, std::uint64_t value, int bytes)
    {
        for (int i = bytes - 1; i >= 0; --i)
            out += static_cast<char>((value >> (8 * i)) & 0xFF);
    }
};

std::string lengthField(std::uint32_t length)
{
    std::string out;
    RawFrame::appendNumber(out, length, 4);
    return out;
}

frame::DecodeResult decode(const std::string &bytes, Message *into = nullptr)
{
    Message scratch;
    return frame::decode(bytes.data(), bytes.size(), into ? *into : scratch);
}

Message sampleMessage()
{
    Message message;
    message.setType(MessageType::Command);
    message.setSeqn(0xDEADBEEF);
    message.setSource("glyphd");
    message.setDestination("ctrlpanelsvc");
    message.setCommand("get");
    message.setParams(std::string("FLASH_LIST,'<l/>'\0\xff", 19));
    return message;
}

std::string encoded(const Message &message)
{
    std::string out;
    EXPECT_TRUE(frame::encode(message, out));
    return out;
}

} // namespace

TEST(Frame, RoundTripKeepsEveryField)
{
    for (const MessageType type : {MessageType::Command, MessageType::Ack, MessageType::NAck,
                                   MessageType::Notification, MessageType::Error}) {
        Message message = sampleMessage();
        message.setType(type);
        message.setFanOut(type == MessageType::Command);
        const std::string bytes = encoded(message);

        Message decoded;
        const frame::DecodeResult result = decode(bytes, &decoded);
        ASSERT_EQ(result.status, frame::DecodeStatus::Complete) << result.error;
        EXPECT_EQ(result.consumed, bytes.size());
        EXPECT_EQ(decoded, message);
    }
}

TEST(Frame, EncodesTheDocumentedLayout)
{
    Message message;
    message.setType(MessageType::Notification);
    message.setSeqn(0x01020304);
    message.setSource("ab");
    const std::string expected("\x00\x00\x00\x14" // length 20
                               "\x01\x04\x00\x00" // version, type, flags, reserved
                               "\x01\x02\x03\x04" // seqn
                               "\x00\x02"
                               "ab"                                // source
                               "\x00\x00\x00\x00\x00\x00\x00\x00", // destination, command, params
                               24);
    EXPECT_EQ(encoded(message), expected);
}

TEST(Frame, EncodeAppendsAndRefusesWhatCannotBeFramed)
{
    std::string out = "kept";
    ASSERT_TRUE(frame::encode(sampleMessage(), out));
    EXPECT_EQ(out.substr(0, 4), "kept");
    EXPECT_EQ(decode(out.substr(4)).status, frame::DecodeStatus::Complete);

    const auto refused = [](const Message &message) {
        std::string bytes = "x";
        const bool ok = frame::encode(message, bytes);
        EXPECT_EQ(bytes, "x");
        return !ok;
    };
    Message message = sampleMessage();
    message.setSource(std::string(256, 's'));
    EXPECT_TRUE(refused(message));
    message = sampleMessage();
    message.setDestination(std::string(256, 'd'));
    EXPECT_TRUE(refused(message));
    message = sampleMessage();
    message.setCommand(std::string(65536, 'c'));
    EXPECT_TRUE(refused(message));
    message = sampleMessage();
    message.setParams(std::string(frame::kMaxBodyLength, 'p'));
    EXPECT_TRUE(refused(message));
    message = sampleMessage();
    message.setType(MessageType::Ack);
    message.setFanOut(true);
    EXPECT_TRUE(refused(message));
    // Shorter than the smallest frame the length field allows.
    message = Message();
    message.setSource("a");
    EXPECT_TRUE(refused(message));

    message = sampleMessage();
    message.setSource(std::string(255, 's'));
    message.setDestination(std::string(255, 'd'));
    std::string bytes;
    EXPECT_TRUE(frame::encode(message, bytes));
}

TEST(Frame, LengthLimitsAreInclusive)
{
    RawFrame smallest;
    smallest.source = "a";
    smallest.destination = "b";
    smallest.command.clear();
    smallest.params.clear();
    const std::string small = smallest.bytes();
    ASSERT_EQ(small.size(), 4 + frame::kMinBodyLength);
    EXPECT_EQ(decode(small).status, frame::DecodeStatus::Complete);

    Message largest = sampleMessage();
    const std::size_t fixed =
        18 + largest.source().size() + largest.destination().size() + largest.command().size();
    largest.setParams(std::string(frame::kMaxBodyLength - fixed, 'x'));
    Message decoded;
    const frame::DecodeResult result = decode(encoded(largest), &decoded);
    ASSERT_EQ(result.status, frame::DecodeStatus::Complete) << result.error;
    EXPECT_EQ(result.consumed, 4 + frame::kMaxBodyLength);
    EXPECT_EQ(decoded, largest);
}

TEST(Frame, EveryPrefixOfAFrameNeedsMore)
{
    const std::string bytes = encoded(sampleMessage());
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        Message untouched;
        const frame::DecodeResult result = frame::decode(bytes.data(), size, untouched);
        EXPECT_EQ(result.status, frame::DecodeStatus::NeedMore) << "prefix of " << size;
        EXPECT_EQ(untouched, Message());
    }
}

TEST(Frame, DecodesOneFrameAtATime)
{
    Message first = sampleMessage();
    Message second = sampleMessage();
    second.setCommand("notify");
    second.setType(MessageType::Notification);
    const std::string firstBytes = encoded(first);
    const std::string bytes = firstBytes + encoded(second) + "\x00\x00";

    Message decoded;
    frame::DecodeResult result = decode(bytes, &decoded);
    ASSERT_EQ(result.status, frame::DecodeStatus::Complete);
    EXPECT_EQ(result.consumed, firstBytes.size());
    EXPECT_EQ(decoded, first);

    result = decode(bytes.substr(result.consumed), &decoded);
    ASSERT_EQ(result.status, frame::DecodeStatus::Complete);
    EXPECT_EQ(decoded, second);
    EXPECT_EQ(decode(bytes.substr(bytes.size() - 2)).status, frame::DecodeStatus::NeedMore);
}

TEST(Frame, LengthOutOfRangeIsMalformedFromItsFourBytes)
{
    for (const std::uint32_t length :
         {0u, frame::kMinBodyLength - 1, frame::kMaxBodyLength + 1, 0xFFFFFFFFu}) {
        const frame::DecodeResult result = decode(lengthField(length));
        EXPECT_EQ(result.status, frame::DecodeStatus::Malformed) << length;
        EXPECT_FALSE(result.error.empty());
    }
    EXPECT_EQ(decode(lengthField(frame::kMinBodyLength)).status, frame::DecodeStatus::NeedMore);
    EXPECT_EQ(decode(lengthField(frame::kMaxBodyLength)).status, frame::DecodeStatus::NeedMore);
}

// Each header rule is judged as soon as its byte is there, without waiting for the frame.
TEST(Frame, BadHeaderBytesAreMalformedAtOnce)
{
    struct Case
    {
        const char *what;
        void (*breakIt)(RawFrame &);
        std::size_t bytesNeeded;
    };
    const Case cases[] = {
        {"version 0", [](RawFrame &f) { f.version = 0; }, 5},
        {"version 2", [](RawFrame &f) { f.version = 2; }, 5},
        {"type 0", [](RawFrame &f) { f.type = 0; }, 6},
        {"type 6", [](RawFrame &f) { f.type = 6; }, 6},
        {"flag bit 1", [](RawFrame &f) { f.flags = 0x02; }, 7},
        {"flag bit 7 with fan-out", [](RawFrame &f) { f.flags = 0x81; }, 7},
        {"fan-out on ACK",
         [](RawFrame &f) {
             f.type = 2;
             f.flags = 1;
         },
         7},
        {"fan-out on NACK",
         [](RawFrame &f) {
             f.type = 3;
             f.flags = 1;
         },
         7},
        {"fan-out on notification",
         [](RawFrame &f) {
             f.type = 4;
             f.flags = 1;
         },
         7},
        {"fan-out on error reply",
         [](RawFrame &f) {
             f.type = 5;
             f.flags = 1;
         },
         7},
        {"reserved 1", [](RawFrame &f) { f.reserved = 1; }, 8},
        {"reserved 0x80", [](RawFrame &f) { f.reserved = 0x80; }, 8},
    };
    for (const Case &c : cases) {
        RawFrame raw;
        c.breakIt(raw);
        const std::string bytes = raw.bytes();
        EXPECT_EQ(decode(bytes).status, frame::DecodeStatus::Malformed) << c.what;
        EXPECT_EQ(decode(bytes.substr(0, c.bytesNeeded)).status, frame::DecodeStatus::Malformed)
            << c.what;
        EXPECT_EQ(decode(bytes.substr(0, c.bytesNeeded - 1)).status, frame::DecodeStatus::NeedMore)
            << c.what;
    }

    RawFrame fanOutCommand;
    fanOutCommand.flags = frame::kFlagFanOut;
    Message decoded;
    ASSERT_EQ(decode(fanOutCommand.bytes(), &decoded).status, frame::DecodeStatus::Complete);
    EXPECT_TRUE(decoded.isFanOut());
}

TEST(Frame, NamesOver255BytesAreMalformed)
{
    RawFrame longSource;
    longSource.source.assign(256, 's');
    RawFrame longDestination;
    longDestination.destination.assign(256, 'd');
    for (const RawFrame &raw : {longSource, longDestination}) {
        const std::string bytes = raw.bytes();
        const frame::DecodeResult result = decode(bytes);
        EXPECT_EQ(result.status, frame::DecodeStatus::Malformed);
        EXPECT_FALSE(result.error.empty());
    }
    // Found from the size field, before the name itself has arrived.
    EXPECT_EQ(decode(longSource.bytes().substr(0, 14)).status, frame::DecodeStatus::Malformed);

    RawFrame longest;
    longest.source.assign(255, 's');
    longest.destination.assign(255, 'd');
    EXPECT_EQ(decode(longest.bytes()).status, frame::DecodeStatus::Complete);
}

TEST(Frame, FieldSizesMustAddUpToTheLength)
{
    // One byte more in the frame than its fields take.
    RawFrame tooLong;
    tooLong.lengthAdjustment = 1;
    EXPECT_EQ(decode(tooLong.bytes() + "x").status, frame::DecodeStatus::Malformed);
    // One byte less: the parameters run past the end of the frame.
    RawFrame tooShort;
    tooShort.lengthAdjustment = -1;
    const std::string shortBytes = tooShort.bytes();
    EXPECT_EQ(decode(shortBytes).status, frame::DecodeStatus::Malformed);
    EXPECT_EQ(decode(shortBytes.substr(0, shortBytes.size() - 1)).status,
              frame::DecodeStatus::Malformed);

    // A size field that overruns the frame is found without waiting for the bytes it claims.
    std::string overrun = RawFrame().bytes();
    overrun[12] = '\x00';
    overrun[13] = '\xff'; // a 255-byte source in a frame of 58 bytes
    EXPECT_EQ(decode(overrun.substr(0, 14)).status, frame::DecodeStatus::Malformed);

    // The parameter size is checked as soon as it arrives, too.
    RawFrame params;
    params.params = "12345";
    params.lengthAdjustment = 3;
    const std::string bytes = params.bytes();
    EXPECT_EQ(decode(bytes.substr(0, bytes.size() - 5)).status, frame::DecodeStatus::Malformed);
}

TEST(Frame, ClientNames)
{
    EXPECT_TRUE(frame::isValidClientName("glyphd"));
    EXPECT_TRUE(frame::isValidClientName("a"));
    EXPECT_TRUE(frame::isValidClientName("Net_work-2.0"));
    EXPECT_TRUE(frame::isValidClientName(std::string(64, 'x')));
    EXPECT_FALSE(frame::isValidClientName(""));
    EXPECT_FALSE(frame::isValidClientName(std::string(65, 'x')));
    EXPECT_FALSE(frame::isValidClientName("two words"));
    EXPECT_FALSE(frame::isValidClientName("a,b"));
    EXPECT_FALSE(frame::isValidClientName("*"));
    EXPECT_FALSE(frame::isValidClientName("caf\xc3\xa9"));
}

TEST(MessageFactories, RequestsStartWithoutSeqnOrAddresses)
{
    std::unique_ptr<Message> command(Message::createMessage("raise_screen", "NETWORK"));
    EXPECT_EQ(command->type(), MessageType::Command);
    EXPECT_EQ(command->seqn(), 0u);
    EXPECT_EQ(command->command(), "raise_screen");
    EXPECT_EQ(command->params(), "NETWORK");
    EXPECT_TRUE(command->source().empty());
    EXPECT_TRUE(command->destination().empty());
    EXPECT_FALSE(command->isFanOut());

    std::unique_ptr<Message> notification(Message::createNotification("notify", "VNC_USERS,2"));
    EXPECT_EQ(notification->type(), MessageType::Notification);
    EXPECT_EQ(notification->seqn(), 0u);
    EXPECT_EQ(notification->params(), "VNC_USERS,2");
}

TEST(MessageFactories, RepliesAnswerTheirRequest)
{
    Message request;
    request.setType(MessageType::Command);
    request.setSeqn(17);
    request.setSource("glyphd");
    request.setDestination("homepage,ctrlpanelsvc");
    request.setCommand("get");
    request.setParams("KEY");
    request.setFanOut(true);

    using Factory = Message *(*)(const Message *, const std::string &);
    const std::pair<Factory, MessageType> factories[] = {
        {&Message::createAckMessage, MessageType::Ack},
        {&Message::createNAckMessage, MessageType::NAck},
        {&Message::createErrMessage, MessageType::Error},
    };
    for (const auto &[factory, type] : factories) {
        std::unique_ptr<Message> reply(factory(&request, "\"CMD not supported\""));
        EXPECT_EQ(reply->type(), type);
        EXPECT_EQ(reply->seqn(), 17u);
        EXPECT_EQ(reply->command(), "get");
        EXPECT_EQ(reply->source(), "homepage,ctrlpanelsvc");
        EXPECT_EQ(reply->destination(), "glyphd");
        EXPECT_EQ(reply->params(), "\"CMD not supported\"");
        EXPECT_FALSE(reply->isFanOut());
        // A reply must always be sendable as it is.
        std::string bytes;
        EXPECT_TRUE(frame::encode(*reply, bytes));
    }
}

TEST(MessageFactories, EqualityLooksAtEveryField)
{
    const Message base = sampleMessage();
    std::vector<Message> variants(7, base);
    variants[0].setSeqn(1);
    variants[1].setSource("x");
    variants[2].setDestination("x");
    variants[3].setCommand("x");
    variants[4].setType(MessageType::Ack);
    variants[5].setParams("x");
    variants[6].setFanOut(true);
    EXPECT_EQ(Message(base), base);
    for (const Message &variant : variants)
        EXPECT_NE(variant, base);
}
