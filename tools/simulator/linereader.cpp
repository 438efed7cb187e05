#include "linereader.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

LineReader::LineReader(int fd)
    : m_fd(fd)
{
    if (::pipe2(m_wakePipe, O_CLOEXEC) != 0) {
        m_wakePipe[0] = m_wakePipe[1] = -1;
    }
}

LineReader::~LineReader()
{
    for (int fd : m_wakePipe) {
        if (fd >= 0) {
            ::close(fd);
        }
    }
}

bool LineReader::readLine(std::string &line)
{
    for (;;) {
        const std::size_t newline = m_buffer.find('\n');
        if (newline != std::string::npos) {
            line = m_buffer.substr(0, newline);
            m_buffer.erase(0, newline + 1);
            return true;
        }
        if (m_endOfInput) {
            if (m_buffer.empty()) {
                return false;
            }
            line.swap(m_buffer);
            m_buffer.clear();
            return true;
        }

        pollfd fds[2] = {{m_fd, POLLIN, 0}, {m_wakePipe[0], POLLIN, 0}};
        if (::poll(fds, m_wakePipe[0] >= 0 ? 2 : 1, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        if (fds[1].revents != 0) {
            return false;
        }
        char chunk[4096];
        const ssize_t count = ::read(m_fd, chunk, sizeof chunk);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            m_endOfInput = true;
        } else {
            m_buffer.append(chunk, static_cast<std::size_t>(count));
        }
    }
}

void LineReader::interrupt()
{
    if (m_wakePipe[1] >= 0) {
        const char wake = 1;
        [[maybe_unused]] const ssize_t written = ::write(m_wakePipe[1], &wake, 1);
    }
}
