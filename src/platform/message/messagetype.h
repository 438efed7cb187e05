#pragma once

#include <cstdint>

// The kind of a router message. The numbers travel on the wire and are compared by value.
enum class MessageType : std::uint8_t {
    Command = 1,      // a request addressed to a client
    Ack = 2,          // positive reply, may carry values
    NAck = 3,         // negative reply
    Notification = 4, // unsolicited state change
    Error = 5,        // error reply ("\"Error: timeout\"" when a wait runs out)
};

// True for the three reply kinds: Ack, NAck and Error.
constexpr bool isReplyType(MessageType type)
{
    return type == MessageType::Ack || type == MessageType::NAck || type == MessageType::Error;
}

// True when the wire value names one of the five kinds.
constexpr bool isValidMessageType(std::uint8_t value)
{
    return value >= 1 && value <= 5;
}
