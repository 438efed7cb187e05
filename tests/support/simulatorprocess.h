#pragma once

#include "managedprocess.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QVector>

#include <functional>

// The instrument simulator (ctrlpanelsvc, homepage and bluetooth) connected to a router. Its
// standard output, one JSON object per line, is collected as events.
//
// Each event can satisfy one wait only: a wait looks at the events not yet matched by an
// earlier wait, oldest first, so that two equal events are told apart and an event that came
// before the wait began still counts.
class SimulatorProcess : public ManagedProcess
{
public:
    using EventPredicate = std::function<bool(const QJsonObject &)>;

    SimulatorProcess();

    // Starts "instrument-sim --port routerPort extraArgs..." and waits for {"event":"ready"}.
    // False when it does not come within timeoutMs or the simulator exits first.
    bool start(quint16 routerPort, const QStringList &extraArgs = {}, int timeoutMs = 10000);

    // Writes one command line ("set VNC_USERS 2") to the simulator's standard input. The
    // simulator runs it soon after; sync() waits until it has.
    bool command(const QString &line);
    // Waits until the simulator has run every command written so far (it echoes a marker).
    bool sync(int timeoutMs = 5000);

    // Every event so far, in order of arrival. A line that is not a JSON object shows up as
    // {"event":"invalid-json","line":...}.
    QList<QJsonObject> events() const { return m_events; }

    // Waits for the first unmatched event for which match returns true; copies it to *out.
    bool waitForEvent(const EventPredicate &match, int timeoutMs = 5000,
                      QJsonObject *out = nullptr);
    // The same for an event named event ("recv", "sent", "error", ...) whose "command" is
    // command; an empty command matches any.
    bool waitForEvent(const QString &event, const QString &command = QString(),
                      int timeoutMs = 5000, QJsonObject *out = nullptr);
    // A message received by the simulator's client to ("ctrlpanelsvc", "homepage",
    // "bluetooth") with that command.
    bool waitForRecv(const QString &to, const QString &command, int timeoutMs = 5000,
                     QJsonObject *out = nullptr);

private:
    void readStandardOutput();
    // Index of the first unmatched event that matches, or -1.
    int findUnmatched(const EventPredicate &match) const;

    QByteArray m_pendingLine;
    QList<QJsonObject> m_events;
    QVector<bool> m_matched;
    int m_syncCount = 0;
};
