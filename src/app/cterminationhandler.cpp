#include "cterminationhandler.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace glyphd {

namespace {

int signalPipe[2] = {-1, -1};

void writeToSignalPipe(int /*signal*/)
{
    const int savedErrno = errno;
    const char byte = 1;
    // Nothing to do when the pipe is full: a wake-up is pending already.
    [[maybe_unused]] const ssize_t written = write(signalPipe[1], &byte, 1);
    errno = savedErrno;
}

} // namespace

CTerminationHandler::CTerminationHandler(QObject *parent)
    : QObject(parent)
{
    if (pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        qWarning("Could not create the signal pipe: SIGTERM and SIGINT end the daemon at once");
        return;
    }
    m_notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, SIGNAL(activated(int)), this, SLOT(slotSignalReceived()));

    struct sigaction action = {};
    action.sa_handler = writeToSignalPipe;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

CTerminationHandler::~CTerminationHandler()
{
    if (m_notifier == nullptr) {
        return;
    }
    signal(SIGTERM, SIG_DFL);
    signal(SIGINT, SIG_DFL);
    delete m_notifier;
    close(signalPipe[0]);
    close(signalPipe[1]);
    signalPipe[0] = signalPipe[1] = -1;
}

void CTerminationHandler::slotSignalReceived()
{
    char buffer[16];
    while (read(signalPipe[0], buffer, sizeof buffer) > 0) {
    }
    QCoreApplication::quit();
}

} // namespace glyphd
