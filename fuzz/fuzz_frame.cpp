// Feeds arbitrary bytes to the frame decoder the way a receiver does (frame after frame until
// it needs more or gives up) and checks that every decoded frame encodes back to exactly the
// bytes it came from.
#include "platform/message/frame.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void check(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "fuzz_frame: %s\n", what);
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const char *bytes = reinterpret_cast<const char *>(data);
    std::size_t offset = 0;
    for (;;) {
        Message message;
        const frame::DecodeResult result = frame::decode(bytes + offset, size - offset, message);
        if (result.status == frame::DecodeStatus::Malformed)
            check(!result.error.empty(), "malformed without a reason");
        if (result.status != frame::DecodeStatus::Complete)
            break;

        const std::string original(bytes + offset, result.consumed);
        check(result.consumed >= frame::kLengthFieldSize + frame::kMinBodyLength &&
                  result.consumed <= frame::kLengthFieldSize + frame::kMaxBodyLength &&
                  result.consumed <= size - offset,
              "consumed count out of range");

        std::string encoded;
        check(frame::encode(message, encoded), "a decoded frame cannot be encoded");
        // There is only one way to write a frame, so the bytes must come back unchanged.
        check(encoded == original, "re-encoded frame differs from the input");

        Message again;
        const frame::DecodeResult second = frame::decode(encoded.data(), encoded.size(), again);
        check(second.status == frame::DecodeStatus::Complete && second.consumed == encoded.size(),
              "re-encoded frame does not decode");
        check(again == message, "decode(encode(m)) != m");
        offset += result.consumed;
    }
    return 0;
}
