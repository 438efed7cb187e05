#pragma once

#include "libclient/messagehandlerclient.h"
#include "platform/message/message.h"

#include <QMutex>

#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

using RouterClient = MessageHandlerClientTemplate<CThreadWrapper, QMutex>;

inline bool connectLocal(RouterClient &client, int port)
{
    return client.connect("127.0.0.1", port, std::string(), 1, false, std::string(), 3000);
}

// Takes every message it is offered, remembers it, and answers commands as told.
class AnsweringHandler : public MessageHandler
{
public:
    enum class Answer { Ack, NAck, Error, Silent };

    explicit AnsweringHandler(RouterClient *client, Answer answer = Answer::Silent,
                              std::string answerText = std::string())
        : m_client(client)
        , m_answer(answer)
        , m_answerText(std::move(answerText))
    {}

    bool acceptsMessage(const Message * /*message*/) override { return true; }

    void handle(Message *message) override
    {
        const std::unique_ptr<Message> received(message);
        {
            // Recorded before answering: whoever gets the answer may look at once.
            std::lock_guard<std::mutex> locker(m_mutex);
            m_received.emplace_back(*received);
        }
        if (received->type() != MessageType::Command || m_answer == Answer::Silent) {
            return;
        }
        std::unique_ptr<Message> reply;
        if (m_answer == Answer::Ack) {
            reply.reset(Message::createAckMessage(received.get(), m_answerText));
        } else if (m_answer == Answer::NAck) {
            reply.reset(Message::createNAckMessage(received.get(), m_answerText));
        } else {
            reply.reset(Message::createErrMessage(received.get(), m_answerText));
        }
        m_client->send(reply->destination(), reply.get());
    }

    void connectionClosed() override
    {
        std::lock_guard<std::mutex> locker(m_mutex);
        ++m_closedCount;
    }

    std::vector<Message> received() const
    {
        std::lock_guard<std::mutex> locker(m_mutex);
        return m_received;
    }
    int receivedCount() const
    {
        std::lock_guard<std::mutex> locker(m_mutex);
        return static_cast<int>(m_received.size());
    }
    int closedCount() const
    {
        std::lock_guard<std::mutex> locker(m_mutex);
        return m_closedCount;
    }

private:
    RouterClient *m_client;
    const Answer m_answer;
    const std::string m_answerText;
    mutable std::mutex m_mutex;
    std::vector<Message> m_received;
    int m_closedCount = 0;
};

// Collects what is written to std::cerr while it lives.
class CerrCapture
{
public:
    CerrCapture()
        : m_previous(std::cerr.rdbuf(m_text.rdbuf()))
    {}
    ~CerrCapture() { std::cerr.rdbuf(m_previous); }

    std::string text() const { return m_text.str(); }

private:
    std::ostringstream m_text;
    std::streambuf *m_previous;
};
