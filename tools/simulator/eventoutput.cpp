#include "eventoutput.h"

#include "jsontext.h"

#include "platform/message/message.h"
#include "platform/message/stringparam_scpi.h"

EventOutput::EventOutput(std::FILE *stream)
    : m_stream(stream)
{}

void EventOutput::ready()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    writeLine(R"({"event":"ready"})");
}

void EventOutput::received(const std::string &receiver, const Message &message)
{
    const std::string line = messageLine("recv", receiver, message);
    std::lock_guard<std::mutex> lock(m_mutex);
    writeLine(line);
}

bool EventOutput::sent(const Message &message, const std::function<bool()> &send)
{
    const std::string line = messageLine("sent", message.destination(), message);
    std::lock_guard<std::mutex> lock(m_mutex);
    writeLine(line);
    return send();
}

void EventOutput::error(const std::string &text)
{
    textEvent("error", text);
}

void EventOutput::echo(const std::string &text)
{
    textEvent("echo", text);
}

void EventOutput::textEvent(const char *event, const std::string &text)
{
    const std::string line =
        std::string(R"({"event":")") + event + R"(","text":)" + jsonString(text) + "}";
    std::lock_guard<std::mutex> lock(m_mutex);
    writeLine(line);
}

std::string EventOutput::messageLine(const char *event, const std::string &to,
                                     const Message &message)
{
    StringParam_SCPI params(message.params());
    std::string tokens;
    for (int i = 0, count = params.nbParams(); i < count; ++i) {
        if (i > 0) {
            tokens += ',';
        }
        tokens += jsonString(params.getString(i));
    }
    return std::string(R"({"event":")") + event + R"(","to":)" + jsonString(to) + R"(,"from":)" +
           jsonString(message.source()) + R"(,"type":)" +
           std::to_string(static_cast<int>(message.type())) + R"(,"seqn":)" +
           std::to_string(message.seqn()) + R"(,"command":)" + jsonString(message.command()) +
           R"(,"params":)" + jsonString(message.params()) + R"(,"tokens":[)" + tokens + "]}";
}

void EventOutput::writeLine(const std::string &line)
{
    std::fwrite(line.data(), 1, line.size(), m_stream);
    std::fputc('\n', m_stream);
    std::fflush(m_stream);
}
