#include "benchframes.h"

#include "platform/message/frame.h"

#include <memory>

namespace benchframes {

Message request(std::uint32_t seqn)
{
    std::unique_ptr<Message> message(Message::createMessage("get", kKey));
    message->setSource(kRequester);
    message->setDestination(kAnswerer);
    message->setSeqn(seqn);
    return *message;
}

Message reply(const Message &request)
{
    return *std::unique_ptr<Message>(Message::createAckMessage(&request, kValue));
}

std::string encoded(const Message &message)
{
    std::string bytes;
    frame::encode(message, bytes);
    return bytes;
}

} // namespace benchframes
