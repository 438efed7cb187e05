#pragma once

#include "msgpeerrun.h"
#include "routerprocess.h"
#include "simulatorprocess.h"

#include <QJsonArray>
#include <QJsonObject>

// The values every tools test starts the simulator with.
inline QStringList defaultSimulatorArgs()
{
    return {QStringLiteral("--set"), QStringLiteral("VNC_USERS=2"),
            QStringLiteral("--set"), QStringLiteral("FLASH_LIST=<l></l>"),
            QStringLiteral("--set"), QStringLiteral("WIFI_CONNECT_STATUS=ASSOCIATED")};
}

// A router on a kernel-chosen port and the simulator connected to it.
struct Instrument
{
    RouterProcess router;
    SimulatorProcess simulator;

    bool start(const QStringList &simulatorArgs = defaultSimulatorArgs(),
               const QStringList &routerArgs = {})
    {
        return router.start(routerArgs) && simulator.start(router.port(), simulatorArgs);
    }

    MsgPeerResult peer(const QStringList &args) { return runMsgPeer(router.port(), args); }
};

inline QStringList tokensOf(const QJsonObject &event)
{
    QStringList tokens;
    for (const QJsonValue &token : event.value(QStringLiteral("tokens")).toArray()) {
        tokens << token.toString();
    }
    return tokens;
}
