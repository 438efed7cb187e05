#include "jsontext.h"

#include <cstdio>

namespace {

bool isContinuation(unsigned char byte)
{
    return (byte & 0xC0) == 0x80;
}

// Length of the valid UTF-8 sequence of more than one byte at text[0, size), or 0 when the
// lead byte does not start one (overlong forms, surrogates and code points past U+10FFFF are
// not valid).
std::size_t multiByteSequenceLength(const unsigned char *text, std::size_t size)
{
    const unsigned char lead = text[0];
    std::size_t length = 0;
    unsigned char secondMin = 0x80;
    unsigned char secondMax = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) {
            secondMin = 0xA0;
        } else if (lead == 0xED) {
            secondMax = 0x9F;
        }
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) {
            secondMin = 0x90;
        } else if (lead == 0xF4) {
            secondMax = 0x8F;
        }
    } else {
        return 0;
    }
    if (size < length || text[1] < secondMin || text[1] > secondMax) {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i) {
        if (!isContinuation(text[i])) {
            return 0;
        }
    }
    return length;
}

void appendEscapedByte(std::string &out, unsigned char byte)
{
    char escape[7];
    std::snprintf(escape, sizeof escape, "\\u%04X", byte);
    out += escape;
}

} // namespace

std::string jsonString(const std::string &bytes)
{
    const auto *text = reinterpret_cast<const unsigned char *>(bytes.data());
    const std::size_t size = bytes.size();
    std::string out;
    out.reserve(size + 2);
    out += '"';
    for (std::size_t i = 0; i < size;) {
        const unsigned char byte = text[i];
        if (byte >= 0x80) {
            const std::size_t length = multiByteSequenceLength(text + i, size - i);
            if (length == 0) {
                appendEscapedByte(out, byte);
                ++i;
            } else {
                out.append(bytes, i, length);
                i += length;
            }
            continue;
        }
        switch (byte) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (byte < 0x20) {
                appendEscapedByte(out, byte);
            } else {
                out += static_cast<char>(byte);
            }
        }
        ++i;
    }
    out += '"';
    return out;
}
