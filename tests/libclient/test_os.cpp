// The OS layer's semaphore and task registration.
#include "platform/os/cossemaphore.h"
#include "platform/os/ostask.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

long long msSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

TEST(OsSemaphore, TakeWaitsForTheTimeoutWhenEmpty)
{
    COsSemaphore semaphore;
    const auto start = Clock::now();
    EXPECT_FALSE(osSemaphoreTake(semaphore, 200));
    EXPECT_GE(msSince(start), 195);
}

TEST(OsSemaphore, ZeroAndNegativeTimeoutsNeverBlock)
{
    COsSemaphore semaphore;
    const auto start = Clock::now();
    EXPECT_FALSE(osSemaphoreTake(semaphore, 0));
    EXPECT_FALSE(osSemaphoreTake(semaphore, -1));
    EXPECT_LT(msSince(start), 100);

    osSemaphoreGive(semaphore);
    osSemaphoreGive(semaphore);
    EXPECT_TRUE(osSemaphoreTake(semaphore, 0));
    EXPECT_TRUE(osSemaphoreTake(semaphore, -1));
    EXPECT_FALSE(osSemaphoreTake(semaphore, 0));
}

TEST(OsSemaphore, CountsEveryGive)
{
    COsSemaphore semaphore(1);
    osSemaphoreGive(semaphore);
    EXPECT_TRUE(osSemaphoreTake(semaphore, 0));
    EXPECT_TRUE(osSemaphoreTake(semaphore, 0));
    EXPECT_FALSE(osSemaphoreTake(semaphore, 0));
}

TEST(OsSemaphore, GiveFromAnotherThreadWakesTheWaiterEarly)
{
    COsSemaphore semaphore;
    const auto start = Clock::now();
    std::thread giver([&semaphore] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        osSemaphoreGive(semaphore);
    });
    EXPECT_TRUE(osSemaphoreTake(semaphore, 30000));
    EXPECT_LT(msSince(start), 10000);
    giver.join();
}

TEST(OsTask, AttachCountsEachThreadOnce)
{
    const int before = osTaskAttachedCount();
    osTaskAttach();
    osTaskAttach();
    EXPECT_EQ(osTaskAttachedCount(), before + 1);
    std::thread other([before] {
        osTaskDetach(); // never attached here: no effect
        EXPECT_EQ(osTaskAttachedCount(), before + 1);
        osTaskAttach();
        EXPECT_EQ(osTaskAttachedCount(), before + 2);
        osTaskDetach();
    });
    other.join();
    osTaskDetach();
    EXPECT_EQ(osTaskAttachedCount(), before);
}

} // namespace
