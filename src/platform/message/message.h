#pragma once

#include "messagetype.h"

#include <cstdint>
#include <string>

// One router message. Messages live on the heap: whoever holds the pointer last deletes it.
// The parameter text is SCPI-style (see StringParam_SCPI) and may hold any bytes.
class Message
{
public:
    Message() = default;
    Message(const Message &) = default;
    Message &operator=(const Message &) = default;

    // A command (type 1, seqn 0) with no source or destination yet.
    static Message *createMessage(const std::string &command, const std::string &params);
    // A notification (type 4, seqn 0).
    static Message *createNotification(const std::string &command, const std::string &params);
    // Replies to request: same seqn and command, source and destination swapped, text as
    // parameters.
    static Message *createAckMessage(const Message *request, const std::string &text);
    static Message *createNAckMessage(const Message *request, const std::string &text);
    static Message *createErrMessage(const Message *request, const std::string &text);

    std::uint32_t seqn() const { return m_seqn; }
    void setSeqn(std::uint32_t seqn) { m_seqn = seqn; }

    const std::string &source() const { return m_source; }
    void setSource(const std::string &source) { m_source = source; }

    const std::string &destination() const { return m_destination; }
    void setDestination(const std::string &destination) { m_destination = destination; }

    const std::string &command() const { return m_command; }
    void setCommand(const std::string &command) { m_command = command; }

    MessageType type() const { return m_type; }
    void setType(MessageType type) { m_type = type; }

    const std::string &params() const { return m_params; }
    void setParams(const std::string &params) { m_params = params; }

    // Fan-out request: the router delivers a copy to every name in the destination list.
    bool isFanOut() const { return m_fanOut; }
    void setFanOut(bool fanOut) { m_fanOut = fanOut; }

    bool operator==(const Message &other) const;
    bool operator!=(const Message &other) const { return !(*this == other); }

private:
    static Message *createReply(const Message *request, MessageType type, const std::string &text);

    std::uint32_t m_seqn = 0;
    std::string m_source;
    std::string m_destination;
    std::string m_command;
    MessageType m_type = MessageType::Command;
    std::string m_params;
    bool m_fanOut = false;
};
