#include "commandqueue.h"

#include <unistd.h>

CommandQueue::CommandQueue(const QStringList &scenario, bool readStandardInput, Handler handler)
    : m_handler(std::move(handler))
    , m_pending(scenario)
{
    m_pause.setSingleShot(true);
    connect(&m_pause, &QTimer::timeout, this, &CommandQueue::runPending);
    if (readStandardInput) {
        m_stdinNotifier = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
        connect(m_stdinNotifier.get(), &QSocketNotifier::activated, this,
                &CommandQueue::readStandardInput);
    }
    QTimer::singleShot(0, this, &CommandQueue::runPending);
}

void CommandQueue::readStandardInput()
{
    char buffer[4096];
    const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (count <= 0) {
        // End of input stops the commands, not the services.
        m_stdinNotifier->setEnabled(false);
        return;
    }
    m_partialLine.append(buffer, int(count));
    int newline;
    while ((newline = m_partialLine.indexOf('\n')) >= 0) {
        m_pending.append(QString::fromUtf8(m_partialLine.left(newline)));
        m_partialLine.remove(0, newline + 1);
    }
    runPending();
}

void CommandQueue::runPending()
{
    while (!m_pending.isEmpty() && !m_pause.isActive()) {
        const QString line = m_pending.takeFirst().trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1String("wait "))) {
            m_pause.start(line.mid(5).trimmed().toInt());
            continue;
        }
        m_handler(line);
    }
}
