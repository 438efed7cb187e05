#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// The one place that says the simulator should end, and with which exit status. Waits that
// pace a scenario end early once it is set.
class QuitRequest
{
public:
    // The first request's status wins.
    void request(int status)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_requested) {
                return;
            }
            m_requested = true;
            m_status = status;
        }
        m_changed.notify_all();
    }

    bool isRequested() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_requested;
    }

    int status() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_status;
    }

    // Sleeps up to duration; true when the quit request ended the sleep.
    bool waitFor(std::chrono::milliseconds duration)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, duration, [this] { return m_requested; });
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_requested = false;
    int m_status = 0;
};
