#include <Telvora/Platform/Dispatch/BriefLock.h>

#include <tests/InThreads.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace telvora {
namespace {

using detail::BriefLock;
using detail::BriefLockHolder;

TEST(BriefLockTest, IsHeldByOneThreadAtATime)
{
    constexpr int threads = 4;
    constexpr int rounds = 20'000;
    BriefLock lock;
    long count = 0; // Not atomic, so that the thread sanitizer reports two holders at once.

    inThreads(threads, [&](int) {
        for (int round = 0; round < rounds; ++round) {
            const BriefLockHolder holder(lock);
            ++count;
        }
    });

    EXPECT_EQ(count, long(threads) * rounds);
}

TEST(BriefLockTest, AThreadThatSleepsGetsTheLockOnceItIsReleased)
{
    BriefLock lock;
    std::atomic<int> waiting { 0 };
    long passed = 0;

    lock.lock();
    std::thread holder([&] {
        inThreads(3, [&](int) {
            ++waiting;
            const BriefLockHolder inside(lock);
            ++passed;
        });
    });
    while (waiting < 3)
        std::this_thread::yield();
    // Usually the threads are asleep after this. The case passes if they are not.
    for (int pause = 0; pause < 1000; ++pause)
        std::this_thread::yield();
    lock.unlock();
    holder.join();

    EXPECT_EQ(passed, 3);
}

} // namespace
} // namespace telvora
