#pragma once

#include <QObject>

class QSocketNotifier;

namespace glyphd {

// Ends the Qt event loop with status 0 on SIGTERM or SIGINT, so that the daemon shuts down
// the normal way (unregistering from the router) when the service manager stops it. The
// signal handler only writes a byte to a pipe; the loop reads it on the main thread.
class CTerminationHandler : public QObject
{
    Q_OBJECT
public:
    explicit CTerminationHandler(QObject *parent = nullptr);
    ~CTerminationHandler() override;

private slots:
    void slotSignalReceived();

private:
    QSocketNotifier *m_notifier = nullptr;
};

} // namespace glyphd
