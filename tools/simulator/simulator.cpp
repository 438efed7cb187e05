#include "simulator.h"

#include "commandwords.h"
#include "eventoutput.h"
#include "quitrequest.h"

#include "common/numberargument.h"
#include "common/routerregistration.h"
#include "platform/message/message.h"
#include "platform/message/stringparam_scpi.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <map>

namespace {

const char *const kControlPanel = "ctrlpanelsvc";
const char *const kHomePage = "homepage";
const char *const kBluetooth = "bluetooth";
const int kRegistrationTimeoutMs = 10000;

} // namespace

Simulator::Simulator(EventOutput &output, QuitRequest &quit, ValueTable values)
    : m_output(output)
    , m_quit(quit)
    , m_services{std::make_unique<Service>(kControlPanel), std::make_unique<Service>(kHomePage),
                 std::make_unique<Service>(kBluetooth)}
    , m_values(std::move(values))
{}

Simulator::~Simulator()
{
    stop();
}

bool Simulator::start(const std::string &host, int port)
{
    m_host = host;
    m_port = port;
    for (auto &service : m_services) {
        std::string error;
        if (!service->client.connect(host, port, service->client.name()) ||
            !registerWithRouter(service->client, kRegistrationTimeoutMs, error)) {
            m_output.error(service->client.name() + ": " +
                           (error.empty() ? "cannot connect to clientmgr at " + host + ":" +
                                                std::to_string(port)
                                          : error));
            return false;
        }
    }
    for (auto &service : m_services) {
        Service &current = *service;
        current.receiver = std::thread([this, &current] { receiveLoop(current); });
    }
    return true;
}

void Simulator::stop()
{
    for (auto &service : m_services) {
        service->client.disconnect();
    }
    for (auto &service : m_services) {
        if (service->receiver.joinable()) {
            service->receiver.join();
        }
    }
}

void Simulator::receiveLoop(Service &service)
{
    for (;;) {
        std::unique_ptr<Message> message(service.client.receive());
        if (!message) {
            break;
        }
        m_output.received(service.client.name(), *message);
        handle(service, *message);
    }
    if (!m_quit.isRequested()) {
        m_output.error(service.client.name() + ": the connection to clientmgr closed");
        m_quit.request(1);
    }
}

void Simulator::handle(Service &service, const Message &message)
{
    if (message.type() != MessageType::Command) {
        return;
    }
    std::unique_ptr<Message> reply;
    if (service.client.name() == kControlPanel) {
        reply.reset(controlPanelReply(message));
    } else {
        reply.reset(Message::createAckMessage(&message, std::string()));
    }
    if (reply && message.seqn() != 0) {
        send(service, *reply);
    }
}

Message *Simulator::controlPanelReply(const Message &request)
{
    if (request.command() == "get") {
        return replyToGet(request);
    }
    if (request.command() == "register") {
        return replyToRegister(request);
    }
    if (request.command() == "unregister") {
        std::lock_guard<std::mutex> lock(m_stateMutex);
        m_listeners.erase(std::remove(m_listeners.begin(), m_listeners.end(), request.source()),
                          m_listeners.end());
    }
    return Message::createAckMessage(&request, std::string());
}

Message *Simulator::replyToGet(const Message &request)
{
    const std::string key = StringParam_SCPI(request.params()).getString(0);
    std::lock_guard<std::mutex> lock(m_stateMutex);
    switch (m_getMode) {
    case GetMode::Silent:
        return nullptr;
    case GetMode::NAck:
        return Message::createNAckMessage(&request, "\"Error: not available\"");
    case GetMode::Empty:
        return Message::createAckMessage(&request, std::string());
    case GetMode::Ack:
        break;
    }
    std::string value;
    if (!m_values.get(key, value)) {
        return Message::createNAckMessage(&request, "\"Error: unknown key\"");
    }
    StringParam_SCPI answer;
    answer.addString(value);
    return Message::createAckMessage(&request, answer.getParams());
}

Message *Simulator::replyToRegister(const Message &request)
{
    std::lock_guard<std::mutex> lock(m_stateMutex);
    if (m_registerNAcksLeft > 0) {
        --m_registerNAcksLeft;
        return Message::createNAckMessage(&request, "\"Error: not ready\"");
    }
    if (std::find(m_listeners.begin(), m_listeners.end(), request.source()) == m_listeners.end()) {
        m_listeners.push_back(request.source());
    }
    if (m_registerMode == RegisterMode::Silent) {
        return nullptr;
    }
    return Message::createAckMessage(&request, std::string());
}

void Simulator::execute(const std::string &line)
{
    CommandWords words(line);
    const std::string command = words.word();
    if (command.empty() || command[0] == '#') {
        return;
    }
    if (command == "set") {
        commandSet(words);
    } else if (command == "notify-raw") {
        commandNotifyRaw(words);
    } else if (command == "mode") {
        commandMode(words);
    } else if (command == "send") {
        commandSend(words);
    } else if (command == "btfile") {
        commandBtFile(words);
    } else if (command == "page") {
        commandPage(words);
    } else if (command == "wait") {
        commandWait(words);
    } else if (command == "flash") {
        commandFlash(words);
    } else if (command == "notify-from") {
        commandNotifyFrom(words);
    } else if (command == "echo") {
        m_output.echo(words.rest());
    } else if (command == "quit") {
        m_quit.request(0);
    } else {
        m_output.error("unknown command: " + line);
    }
}

void Simulator::commandSet(CommandWords &words)
{
    const std::string key = words.word();
    if (key.empty()) {
        m_output.error("usage: set KEY VALUE...");
        return;
    }
    setAndNotify(key, words.rest());
}

void Simulator::setAndNotify(const std::string &key, const std::string &value)
{
    {
        std::lock_guard<std::mutex> lock(m_stateMutex);
        m_values.set(key, value);
    }
    StringParam_SCPI params;
    params.addToken(key);
    params.addString(value);
    const std::unique_ptr<Message> notification(
        Message::createNotification("notify", params.getParams()));
    sendToListeners(*service(kControlPanel), *notification);
}

void Simulator::commandNotifyRaw(CommandWords &words)
{
    const std::unique_ptr<Message> notification(
        Message::createNotification("notify", words.rest()));
    sendToListeners(*service(kControlPanel), *notification);
}

void Simulator::commandMode(CommandWords &words)
{
    const std::string what = words.word();
    const std::string how = words.word();
    long nacks = 0;
    std::lock_guard<std::mutex> lock(m_stateMutex);
    static const std::map<std::string, GetMode> getModes = {{"ack", GetMode::Ack},
                                                            {"empty", GetMode::Empty},
                                                            {"nack", GetMode::NAck},
                                                            {"silent", GetMode::Silent}};
    if (what == "get" && getModes.count(how) != 0) {
        m_getMode = getModes.at(how);
    } else if (what == "register" && (how == "ack" || how == "silent")) {
        m_registerMode = how == "ack" ? RegisterMode::Ack : RegisterMode::Silent;
        m_registerNAcksLeft = 0;
    } else if (what == "register" && how == "nack" &&
               parseNumberArgument(words.word(), 0, LONG_MAX, nacks)) {
        m_registerMode = RegisterMode::Ack;
        m_registerNAcksLeft = nacks;
    } else {
        m_output.error("usage: mode get ack|empty|nack|silent, mode register ack|silent|nack N");
    }
}

void Simulator::commandSend(CommandWords &words)
{
    Service *from = service(words.word());
    const std::string to = words.word();
    long type = 0;
    const bool typeValid = parseNumberArgument(words.word(), 1, 5, type);
    const std::string command = words.word();
    if (!from || to.empty() || !typeValid || command.empty()) {
        m_output.error("usage: send ctrlpanelsvc|homepage|bluetooth TO TYPE(1-5) COMMAND "
                       "[PARAMS...]");
        return;
    }
    Message message;
    message.setType(static_cast<MessageType>(type));
    message.setDestination(to);
    message.setCommand(command);
    message.setParams(words.rest());
    if (message.type() == MessageType::Command) {
        message.setSeqn(from->client.nextSeqn());
    }
    send(*from, message);
}

void Simulator::commandBtFile(CommandWords &words)
{
    const std::unique_ptr<Message> notification(
        Message::createNotification("BLUE_OBEX_FILE_RCVD", words.rest()));
    sendToListeners(*service(kBluetooth), *notification);
}

void Simulator::commandPage(CommandWords &words)
{
    const std::string command = words.word();
    if (command.empty()) {
        m_output.error("usage: page COMMAND [PARAMS...]");
        return;
    }
    const std::unique_ptr<Message> message(Message::createMessage(command, words.rest()));
    sendToListeners(*service(kHomePage), *message);
}

void Simulator::commandWait(CommandWords &words)
{
    long milliseconds = 0;
    if (!parseNumberArgument(words.word(), 0, INT_MAX, milliseconds)) {
        m_output.error("usage: wait MILLISECONDS");
        return;
    }
    m_quit.waitFor(std::chrono::milliseconds(milliseconds));
}

// The removable-storage list as the control panel writes it: one element per device.
void Simulator::commandFlash(CommandWords &words)
{
    std::string list = "<flashlist>";
    for (std::string device = words.word(); !device.empty(); device = words.word()) {
        const std::size_t equals = device.find('=');
        if (equals == std::string::npos || device.find_first_of("\"<&") != std::string::npos) {
            m_output.error("usage: flash [PATH=STATE]... (no quotes, < or & in them)");
            return;
        }
        list += "<device path=\"" + device.substr(0, equals) + "\" state=\"" +
                device.substr(equals + 1) + "\"/>";
    }
    setAndNotify("FLASH_LIST", list + "</flashlist>");
}

// A notification from a client of any name, as some platform services send them: the name is
// claimed at the router for this one message (one of the simulator's own names is used as it
// is). The value table is not touched.
void Simulator::commandNotifyFrom(CommandWords &words)
{
    const std::string name = words.word();
    const std::string key = words.word();
    if (name.empty() || key.empty()) {
        m_output.error("usage: notify-from NAME KEY VALUE...");
        return;
    }
    StringParam_SCPI params;
    params.addToken(key);
    params.addString(words.rest());
    const std::unique_ptr<Message> notification(
        Message::createNotification("notify", params.getParams()));
    if (Service *own = service(name)) {
        sendToListeners(*own, *notification);
        return;
    }
    Service sender(name);
    std::string error;
    if (!sender.client.connect(m_host, m_port, name) ||
        !registerWithRouter(sender.client, kRegistrationTimeoutMs, error)) {
        m_output.error(name + ": " + (error.empty() ? "cannot connect to clientmgr" : error));
        return;
    }
    sendToListeners(sender, *notification);
    sender.client.disconnect();
}

Simulator::Service *Simulator::service(const std::string &name)
{
    for (auto &service : m_services) {
        if (service->client.name() == name) {
            return service.get();
        }
    }
    return nullptr;
}

void Simulator::sendToListeners(Service &from, const Message &message)
{
    std::vector<std::string> listeners;
    {
        std::lock_guard<std::mutex> lock(m_stateMutex);
        listeners = m_listeners;
    }
    for (const std::string &listener : listeners) {
        Message copy(message);
        copy.setDestination(listener);
        send(from, copy);
    }
}

bool Simulator::send(Service &from, Message &message)
{
    message.setSource(from.client.name());
    if (m_output.sent(message, [&] { return from.client.send(&message); })) {
        return true;
    }
    m_output.error(from.client.name() + ": could not send \"" + message.command() + "\" to " +
                   message.destination());
    return false;
}
