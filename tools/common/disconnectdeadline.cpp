#include "common/disconnectdeadline.h"

#include "platform/message/client.h"

#include <chrono>

DisconnectDeadline::DisconnectDeadline(Client &client, int timeoutMs)
    : m_watcher([this, &client, timeoutMs] { watch(client, timeoutMs); })
{}

DisconnectDeadline::~DisconnectDeadline()
{
    cancel();
    m_watcher.join();
}

void DisconnectDeadline::cancel()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_cancelled = true;
    }
    m_wake.notify_all();
}

bool DisconnectDeadline::expired() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_expired;
}

void DisconnectDeadline::watch(Client &client, int timeoutMs)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_wake.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                        [this] { return m_cancelled; })) {
        return;
    }
    m_expired = true;
    lock.unlock();
    client.disconnect();
}
