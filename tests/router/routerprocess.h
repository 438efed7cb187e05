#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

// The real clientmgr binary, started on a port the kernel chooses. Its standard error is
// collected so tests can read the port and look at what it logged. The process dies with the
// test: it is killed in the destructor and when the test process goes away.
class RouterProcess
{
public:
    RouterProcess() = default;
    ~RouterProcess();

    RouterProcess(const RouterProcess &) = delete;
    RouterProcess &operator=(const RouterProcess &) = delete;

    // Starts clientmgr --port 0 plus arguments and waits for its "listening on" line.
    bool start(const std::vector<std::string> &arguments = {}, int timeoutMs = 10000);
    int port() const { return m_port; }

    // Sends signal and waits for the exit; the exit status, or -1 when it did not exit on its
    // own within timeoutMs (or died of a signal).
    int stop(int signal, int timeoutMs = 10000);
    bool isRunning();

    // Everything written to standard error so far.
    std::string log() const;
    bool waitForLog(const std::string &text, int timeoutMs = 10000) const;

private:
    void readStandardError(int fd);

    pid_t m_pid = -1;
    int m_port = 0;
    std::thread m_reader;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::string m_log;
    bool m_logClosed = false;
};
