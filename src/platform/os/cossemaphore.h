#pragma once

#include <condition_variable>
#include <mutex>

// A counting semaphore. Give adds one to the count; take waits until the count is not zero
// and removes one.
class COsSemaphore
{
public:
    explicit COsSemaphore(unsigned initialCount = 0);

    COsSemaphore(const COsSemaphore &) = delete;
    COsSemaphore &operator=(const COsSemaphore &) = delete;

private:
    friend bool osSemaphoreTake(COsSemaphore &semaphore, int timeoutMs);
    friend void osSemaphoreGive(COsSemaphore &semaphore);

    std::mutex m_mutex;
    std::condition_variable m_available;
    unsigned m_count;
};

// Takes one count. timeoutMs > 0 waits up to that long (monotonic clock); 0 and negative
// values never block: the count is taken only if one is there. Blocking on a negative
// timeout would freeze the UI thread behind a peer that never answers, so it means "do not
// wait" rather than "wait for ever". Returns true when a count was taken.
bool osSemaphoreTake(COsSemaphore &semaphore, int timeoutMs);
// Adds one count and wakes one waiter.
void osSemaphoreGive(COsSemaphore &semaphore);
