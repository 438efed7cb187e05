// The OS layer's counting semaphore, on which every synchronous request waits.
#include "platform/os/cossemaphore.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

long long msSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start)
        .count();
}

TEST(OsSemaphore, NegativeAndZeroTryOncePositiveWaits)
{
    COsSemaphore semaphore(1);
    osSemaphoreGive(semaphore); // counts every give
    auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(osSemaphoreTake(semaphore, -1));
    EXPECT_TRUE(osSemaphoreTake(semaphore, 0));
    EXPECT_FALSE(osSemaphoreTake(semaphore, -1));
    EXPECT_FALSE(osSemaphoreTake(semaphore, 0));
    EXPECT_LT(msSince(start), 100);

    EXPECT_FALSE(osSemaphoreTake(semaphore, 200));
    EXPECT_GE(msSince(start), 195);

    // A give from another thread ends the wait long before its time-out.
    start = std::chrono::steady_clock::now();
    std::thread giver([&semaphore] { osSemaphoreGive(semaphore); });
    EXPECT_TRUE(osSemaphoreTake(semaphore, 30000));
    EXPECT_LT(msSince(start), 10000);
    giver.join();
}

} // namespace
