#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <functional>

// A child program of a test: started from the build's bin directory, its standard error
// collected, stopped with SIGTERM, and killed at the latest when the object goes away so that
// no child outlives the test.
//
// Waiting pumps the Qt event loop when a QCoreApplication exists (QtTest); without one (a
// GoogleTest main) it drives the child's pipes directly, so both kinds of test can use it.
class ManagedProcess
{
public:
    virtual ~ManagedProcess();

    ManagedProcess(const ManagedProcess &) = delete;
    ManagedProcess &operator=(const ManagedProcess &) = delete;

    // Absolute path of a program of this build (GLYPHD_BIN_DIR in the environment overrides
    // the directory compiled in).
    static QString programPath(const QString &name);

    // Applies to the next start.
    void setEnvironment(const QProcessEnvironment &environment)
    {
        m_process.setProcessEnvironment(environment);
    }

    bool isRunning() const;
    qint64 processId() const;

    // Sends SIGTERM and waits for the exit. Returns the exit code, or -1 when the program
    // crashed or did not end within timeoutMs (it is killed then).
    int stop(int timeoutMs = 10000);
    // SIGKILL and reap; nothing happens when the program is not running.
    void kill();

    // Everything the program wrote to standard error so far.
    QString standardError() const;
    // Waits until standard error contains text; false on timeout.
    bool waitForStandardError(const QString &text, int timeoutMs = 5000);

    // Waits until condition() holds, pumping events (see above). False on timeout.
    bool waitUntil(const std::function<bool()> &condition, int timeoutMs);

protected:
    explicit ManagedProcess(const QString &programName);

    // Starts the program with args; false (with a warning) when it cannot be started.
    bool launch(const QStringList &args);
    // Starts it and waits until ready() holds. False, with its standard error as a warning, when
    // it ends first or timeoutMs passes; it is killed then.
    bool launchUntilReady(const QStringList &args, const std::function<bool()> &ready,
                          int timeoutMs);
    QProcess &process() { return m_process; }
    const QString &programName() const { return m_programName; }

private:
    const QString m_programName;
    QProcess m_process;
    QByteArray m_stderr;
};
