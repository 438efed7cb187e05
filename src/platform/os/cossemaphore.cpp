#include "cossemaphore.h"

#include <chrono>

COsSemaphore::COsSemaphore(unsigned initialCount)
    : m_count(initialCount)
{}

bool osSemaphoreTake(COsSemaphore &semaphore, int timeoutMs)
{
    std::unique_lock<std::mutex> locker(semaphore.m_mutex);
    const auto hasCount = [&semaphore] { return semaphore.m_count > 0; };
    if (timeoutMs > 0) {
        // wait_for measures against steady_clock: a wall-clock jump neither ends nor
        // stretches the wait.
        semaphore.m_available.wait_for(locker, std::chrono::milliseconds(timeoutMs), hasCount);
    }
    if (!hasCount()) {
        return false;
    }
    --semaphore.m_count;
    return true;
}

void osSemaphoreGive(COsSemaphore &semaphore)
{
    {
        std::lock_guard<std::mutex> locker(semaphore.m_mutex);
        ++semaphore.m_count;
    }
    semaphore.m_available.notify_one();
}
