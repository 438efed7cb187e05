#pragma once

#include "libclient/messagehandlerclient.h"
#include "platform/message/message.h"
#include "support/routerprocess.h"
#include "support/simulatorprocess.h"

#include <QMutex>

#include <memory>
#include <string>

// The real router and simulator, and a router client named "glyphd" that has registered with
// the simulated control panel, so that it is sent notifications as the daemon is.
class LiveInstrument
{
public:
    using RouterClient = MessageHandlerClientTemplate<CThreadWrapper, QMutex>;

    bool start(const QStringList &simulatorArgs = {})
    {
        if (!router.start() || !simulator.start(router.port(), simulatorArgs))
            return false;
        client = std::make_unique<RouterClient>("glyphd");
        if (!client->connect(router.host().toStdString(), router.port(), std::string(), 1, false,
                             std::string(), 0))
            return false;
        const std::unique_ptr<Message> request(Message::createMessage("register", "YES"));
        const std::unique_ptr<Message> reply(
            client->sendAndWait("ctrlpanelsvc", request.get(), 5000));
        return reply && reply->type() == MessageType::Ack;
    }

    RouterProcess router;
    SimulatorProcess simulator;
    // Destroyed first: it disconnects while the router still runs.
    std::unique_ptr<RouterClient> client;
};
