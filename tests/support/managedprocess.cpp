#include "managedprocess.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QThread>
#include <QtTest/QTest>

ManagedProcess::ManagedProcess(const QString &programName)
    : m_programName(programName)
{
    QObject::connect(&m_process, &QProcess::readyReadStandardError,
                     [this] { m_stderr += m_process.readAllStandardError(); });
}

ManagedProcess::~ManagedProcess()
{
    // The readers connected to the pipes belong to parts of the object that are gone already.
    QObject::disconnect(&m_process, nullptr, nullptr, nullptr);
    kill();
}

QString ManagedProcess::programPath(const QString &name)
{
    return QDir(qEnvironmentVariable("GLYPHD_BIN_DIR", QStringLiteral(GLYPHD_BIN_DIR)))
        .absoluteFilePath(name);
}

bool ManagedProcess::launch(const QStringList &args)
{
    m_process.start(programPath(m_programName), args);
    if (!m_process.waitForStarted(10000)) {
        qWarning("%s could not be started: %s", qPrintable(programPath(m_programName)),
                 qPrintable(m_process.errorString()));
        return false;
    }
    return true;
}

bool ManagedProcess::launchUntilReady(const QStringList &args, const std::function<bool()> &ready,
                                      int timeoutMs)
{
    if (launch(args) && waitUntil([&] { return ready() || !isRunning(); }, timeoutMs) &&
        isRunning() && ready()) {
        return true;
    }
    qWarning("%s did not get ready; its standard error:\n%s", qPrintable(m_programName),
             qPrintable(standardError()));
    kill();
    return false;
}

bool ManagedProcess::isRunning() const
{
    return m_process.state() != QProcess::NotRunning;
}

qint64 ManagedProcess::processId() const
{
    return m_process.processId();
}

int ManagedProcess::stop(int timeoutMs)
{
    if (isRunning()) {
        m_process.terminate(); // SIGTERM
        if (!m_process.waitForFinished(timeoutMs)) {
            qWarning("%s did not end on SIGTERM within %d ms", qPrintable(m_programName),
                     timeoutMs);
            kill();
            return -1;
        }
    }
    m_stderr += m_process.readAllStandardError();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

void ManagedProcess::kill()
{
    if (!isRunning()) {
        return;
    }
    m_process.kill();
    m_process.waitForFinished(10000);
}

QString ManagedProcess::standardError() const
{
    return QString::fromUtf8(m_stderr);
}

bool ManagedProcess::waitForStandardError(const QString &text, int timeoutMs)
{
    const QByteArray needle = text.toUtf8();
    return waitUntil([this, &needle] { return m_stderr.contains(needle); }, timeoutMs);
}

bool ManagedProcess::waitUntil(const std::function<bool()> &condition, int timeoutMs)
{
    if (QCoreApplication::instance()) {
        return QTest::qWaitFor(condition, timeoutMs);
    }
    const QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return false;
        }
        // Reads whatever the child wrote on either channel and emits the readyRead signals.
        if (!m_process.waitForReadyRead(10)) {
            QThread::msleep(10);
        }
    }
    return true;
}
