#pragma once

#include <string>

// Reads lines from a file descriptor (standard input) in a way that another thread can
// interrupt, so that a shut-down never waits for the user's next line.
class LineReader
{
public:
    explicit LineReader(int fd);
    ~LineReader();

    LineReader(const LineReader &) = delete;
    LineReader &operator=(const LineReader &) = delete;

    // The next line without its end. False at end of input, on a read error or after
    // interrupt(); a last line without a line end is still returned.
    bool readLine(std::string &line);
    // Makes the current and every later readLine() return false. Safe from any thread.
    void interrupt();

private:
    const int m_fd;
    int m_wakePipe[2] = {-1, -1};
    std::string m_buffer;
    bool m_endOfInput = false;
};
