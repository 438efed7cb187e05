#include "routerprocess.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#ifndef CLIENTMGR_PATH
#error "CLIENTMGR_PATH must name the clientmgr binary"
#endif

namespace {

const std::string kListening = "clientmgr: listening on ";

} // namespace

RouterProcess::~RouterProcess()
{
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    if (m_reader.joinable())
        m_reader.join();
}

bool RouterProcess::start(const std::vector<std::string> &arguments, int timeoutMs)
{
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0)
        return false;

    std::vector<std::string> argv{CLIENTMGR_PATH, "--port", "0"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<char *> cargv;
    for (std::string &argument : argv)
        cargv.push_back(argument.data());
    cargv.push_back(nullptr);

    const pid_t parent = ::getpid();
    m_pid = ::fork();
    if (m_pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent)
            ::_exit(127);
        ::dup2(pipeFds[1], STDERR_FILENO);
        ::execv(cargv[0], cargv.data());
        ::_exit(127);
    }
    ::close(pipeFds[1]);
    if (m_pid < 0) {
        ::close(pipeFds[0]);
        return false;
    }
    m_reader = std::thread(&RouterProcess::readStandardError, this, pipeFds[0]);

    if (!waitForLog(kListening, timeoutMs))
        return false;
    const std::string text = log();
    const std::size_t lineEnd = text.find('\n', text.find(kListening));
    const std::size_t colon = text.rfind(':', lineEnd);
    m_port = std::atoi(text.substr(colon + 1, lineEnd - colon - 1).c_str());
    return m_port > 0;
}

void RouterProcess::readStandardError(int fd)
{
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        std::lock_guard<std::mutex> lock(m_mutex);
        if (n <= 0) {
            m_logClosed = true;
            m_changed.notify_all();
            break;
        }
        m_log.append(buffer, static_cast<std::size_t>(n));
        m_changed.notify_all();
    }
    ::close(fd);
}

std::string RouterProcess::log() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_log;
}

bool RouterProcess::waitForLog(const std::string &text, int timeoutMs) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto lineComplete = [&] {
        const std::size_t at = m_log.find(text);
        return at != std::string::npos && m_log.find('\n', at) != std::string::npos;
    };
    return m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
        return lineComplete() || m_logClosed;
    }) && lineComplete();
}

int RouterProcess::stop(int signal, int timeoutMs)
{
    if (m_pid <= 0)
        return -1;
    ::kill(m_pid, signal);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    int status = 0;
    pid_t done = 0;
    while ((done = ::waitpid(m_pid, &status, WNOHANG)) == 0 &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (done != m_pid)
        return -1; // the destructor kills it
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool RouterProcess::isRunning()
{
    if (m_pid > 0 && ::waitpid(m_pid, nullptr, WNOHANG) == m_pid)
        m_pid = -1;
    return m_pid > 0;
}
