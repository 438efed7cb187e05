#pragma once

#include "managedprocess.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QVector>

#include <functional>

// The instrument simulator (ctrlpanelsvc, homepage and bluetooth) connected to a router. Its
// standard output, one JSON object per line, is collected as events; a line that is not one
// is reported as a warning.
//
// Each event satisfies one wait only: a wait takes the oldest event not matched by an earlier
// wait, so two equal events are told apart and an event that came before the wait still counts.
class SimulatorProcess : public ManagedProcess
{
public:
    using EventPredicate = std::function<bool(const QJsonObject &)>;

    SimulatorProcess();

    // Starts "instrument-sim --port routerPort extraArgs..." and waits for {"event":"ready"}.
    bool start(quint16 routerPort, const QStringList &extraArgs = {}, int timeoutMs = 10000);
    // Writes one command line ("set VNC_USERS 2") to the simulator's standard input.
    bool command(const QString &line);
    // Waits until the simulator has run every command written so far (it echoes a marker).
    bool sync(int timeoutMs = 5000);

    QList<QJsonObject> events() const { return m_events; }

    // Waits for the first unmatched event that match accepts, and copies it to *out.
    bool waitForEvent(const EventPredicate &match, int timeoutMs = 5000,
                      QJsonObject *out = nullptr);
    // A message with that command received by the simulator's client to ("ctrlpanelsvc", ...).
    bool waitForRecv(const QString &to, const QString &command, int timeoutMs = 5000,
                     QJsonObject *out = nullptr);

private:
    void readStandardOutput();
    int findUnmatched(const EventPredicate &match) const; // -1 when none

    QByteArray m_pendingLine;
    QList<QJsonObject> m_events;
    QVector<bool> m_matched;
    int m_syncCount = 0;
};
