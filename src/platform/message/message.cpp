#include "message.h"

Message *Message::createMessage(const std::string &command, const std::string &params)
{
    auto *message = new Message;
    message->setType(MessageType::Command);
    message->setCommand(command);
    message->setParams(params);
    return message;
}

Message *Message::createNotification(const std::string &command, const std::string &params)
{
    Message *message = createMessage(command, params);
    message->setType(MessageType::Notification);
    return message;
}

Message *Message::createAckMessage(const Message *request, const std::string &text)
{
    return createReply(request, MessageType::Ack, text);
}

Message *Message::createNAckMessage(const Message *request, const std::string &text)
{
    return createReply(request, MessageType::NAck, text);
}

Message *Message::createErrMessage(const Message *request, const std::string &text)
{
    return createReply(request, MessageType::Error, text);
}

Message *Message::createReply(const Message *request, MessageType type, const std::string &text)
{
    auto *reply = new Message;
    if (request) {
        reply->setSeqn(request->seqn());
        reply->setCommand(request->command());
        reply->setSource(request->destination());
        reply->setDestination(request->source());
    }
    reply->setType(type);
    reply->setParams(text);
    return reply;
}

bool Message::operator==(const Message &other) const
{
    return m_seqn == other.m_seqn && m_type == other.m_type && m_fanOut == other.m_fanOut &&
           m_source == other.m_source && m_destination == other.m_destination &&
           m_command == other.m_command && m_params == other.m_params;
}
