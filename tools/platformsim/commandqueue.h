#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <memory>

// Feeds command lines to a handler one after another: first a scenario's lines, then standard
// input as it arrives. "wait MS" pauses the stream without blocking the event loop, so the
// services go on answering meanwhile.
class CommandQueue : public QObject
{
    Q_OBJECT
public:
    using Handler = std::function<void(const QString &line)>;

    CommandQueue(const QStringList &scenario, bool readStandardInput, Handler handler);

private:
    void readStandardInput();
    void runPending();

    const Handler m_handler;
    QStringList m_pending;
    QByteArray m_partialLine;
    std::unique_ptr<QSocketNotifier> m_stdinNotifier;
    QTimer m_pause;
};
