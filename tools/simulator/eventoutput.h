#pragma once

#include <cstdio>
#include <functional>
#include <mutex>
#include <string>

class Message;

// The simulator's standard output: one JSON object per line, flushed at once. Lines come
// from several threads and never interleave.
class EventOutput
{
public:
    explicit EventOutput(std::FILE *stream);

    void ready();
    // {"event":"recv","to":...} for a message that the client named receiver received.
    void received(const std::string &receiver, const Message &message);
    // Writes {"event":"sent",...} and runs send while no other line can come in between, so
    // the line of a reply can never precede the line of its request. Returns send's result.
    bool sent(const Message &message, const std::function<bool()> &send);
    void error(const std::string &text);
    // {"event":"echo","text":...}: tells whoever drives the simulator that every command
    // before it has run.
    void echo(const std::string &text);

private:
    void textEvent(const char *event, const std::string &text);
    static std::string messageLine(const char *event, const std::string &to,
                                   const Message &message);
    void writeLine(const std::string &line);

    std::FILE *const m_stream;
    std::mutex m_mutex;
};
