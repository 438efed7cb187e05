#pragma once

#include "valuetable.h"

#include "platform/message/client.h"

#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class CommandWords;
class EventOutput;
class Message;
class QuitRequest;

// Plays the instrument services the daemon talks to: the control panel "ctrlpanelsvc" (values,
// registration, notifications), the home page "homepage" and "bluetooth". Each has its own
// router connection and receive thread; commands (from standard input or a scenario) make
// them send.
class Simulator
{
public:
    Simulator(EventOutput &output, QuitRequest &quit, ValueTable values);
    ~Simulator();

    Simulator(const Simulator &) = delete;
    Simulator &operator=(const Simulator &) = delete;

    // Connects and registers the three services, then starts their receive threads. False
    // (with error events) when any of them fails.
    bool start(const std::string &host, int port);
    // Disconnects the services and joins their receive threads.
    void stop();

    // Runs one command line. Blank lines and lines starting with '#' do nothing; problems
    // become error events.
    void execute(const std::string &line);

private:
    enum class GetMode { Ack, Empty, NAck, Silent };
    enum class RegisterMode { Ack, Silent };

    struct Service
    {
        explicit Service(const std::string &name)
            : client(name)
        {}
        Client client;
        std::thread receiver;
    };

    void receiveLoop(Service &service);
    void handle(Service &service, const Message &message);
    // The control panel's part: returns the reply (null for none) to a command.
    Message *controlPanelReply(const Message &request);
    Message *replyToGet(const Message &request);
    Message *replyToRegister(const Message &request);

    void commandSet(CommandWords &words);
    void commandNotifyRaw(CommandWords &words);
    void commandMode(CommandWords &words);
    void commandSend(CommandWords &words);
    void commandBtFile(CommandWords &words);
    void commandPage(CommandWords &words);
    void commandWait(CommandWords &words);
    void commandFlash(CommandWords &words);
    void commandNotifyFrom(CommandWords &words);

    // Stores the value and notifies every listener of it, from the control panel.
    void setAndNotify(const std::string &key, const std::string &value);

    Service *service(const std::string &name);
    // Sends a copy of message from service to every client registered with the control panel.
    void sendToListeners(Service &from, const Message &message);
    bool send(Service &from, Message &message);

    EventOutput &m_output;
    QuitRequest &m_quit;
    std::array<std::unique_ptr<Service>, 3> m_services;
    // Where the router is, for the short-lived clients of notify-from.
    std::string m_host;
    int m_port = 0;

    std::mutex m_stateMutex; // guards everything below
    ValueTable m_values;
    std::vector<std::string> m_listeners; // in order of registration
    GetMode m_getMode = GetMode::Ack;
    RegisterMode m_registerMode = RegisterMode::Ack;
    long m_registerNAcksLeft = 0;
};
