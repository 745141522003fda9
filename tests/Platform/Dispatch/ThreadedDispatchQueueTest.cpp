#include <Telvora/Platform/Dispatch/ThreadedDispatchQueue.h>

#include <Telvora/Classes/Utils/ReadWriteLock.h>
#include <Telvora/Platform/Linux/LinuxPlatform.h>

#include <tests/Platform/Dispatch/RealDispatch.h>
#include <tests/Sanitized.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

#include <malloc.h>

namespace telvora {
namespace {

class ThreadedDispatchQueueTest : public RealDispatchTest {
protected:
    std::unique_ptr<DispatchQueue> queue = dispatch.makeConcurrentQueue("queue");
    std::unique_ptr<DispatchQueue> other = dispatch.makeConcurrentQueue("other");
    std::promise<void> isInside;
    std::promise<void> mayEnd;
    std::latch met { 2 };
    std::vector<std::vector<int>> orders { 4 };
    std::atomic<int> foreign { 0 };
    int ran = 0;
    std::vector<std::unique_ptr<DispatchQueue>> queues;
};

TEST_F(ThreadedDispatchQueueTest, ABarrierSyncRunsOnItsCallersThreadUnderContentionToo)
{
    inThreads(4, [this](int) {
        for (int round = 0; round < 5000; ++round) {
            const auto caller = std::this_thread::get_id();
            queue->barrierSync([&] { foreign += std::this_thread::get_id() != caller; });
        }
    });

    EXPECT_EQ(foreign, 0);
}

TEST_F(ThreadedDispatchQueueTest, ABarrierNowOrLaterOfAQueueAtRestRunsAtOnceOnItsCallersThread)
{
    std::thread::id runner;
    queue->barrierNowOrLater([&] { runner = std::this_thread::get_id(); });

    EXPECT_EQ(runner, std::this_thread::get_id());
}

TEST_F(ThreadedDispatchQueueTest, ABarrierNowOrLaterDoesNotWaitForAReader)
{
    std::thread reader([this] {
        queue->sync([this] {
            isInside.set_value();
            mayEnd.get_future().wait();
        });
    });
    isInside.get_future().wait();
    queue->barrierNowOrLater([this] { ++ran; });
    mayEnd.set_value();
    reader.join();
    queue->sync([] {});

    EXPECT_EQ(ran, 1);
}

TEST_F(ThreadedDispatchQueueTest, ReadersRunInParallel)
{
    inThreads(2, [this](int) { queue->sync([this] { met.arrive_and_wait(); }); });
}

TEST_F(ThreadedDispatchQueueTest, SyncRunsWhatWasSubmittedBeforeItAcrossTheEdgesOfChunks)
{
    for (const int count : { 1, 169, 170, 171, 340, 341, 5000 }) {
        ran = 0;
        for (int number = 0; number < count; ++number)
            queue->barrierAsync([this] { ++ran; });

        int seen = 0;
        queue->sync([&] { seen = ran; });

        EXPECT_EQ(seen, count);
    }
}

TEST_F(ThreadedDispatchQueueTest, BarrierSyncRunsWhatWasSubmittedBeforeItAcrossTheEdgesOfChunks)
{
    for (const int count : { 1, 169, 170, 171, 340, 341, 5000 }) {
        ran = 0;
        for (int number = 0; number < count; ++number)
            queue->barrierAsync([this] { ++ran; });

        int seen = 0;
        queue->barrierSync([&] { seen = ran; });

        EXPECT_EQ(seen, count);
    }
}

TEST_F(ThreadedDispatchQueueTest, ABlockMayWaitForWhatItSubmittedToAnotherQueue)
{
    queue->barrierAsync([this] {
        other->barrierAsync([this] { isInside.set_value(); });
        isInside.get_future().wait();
    });
    queue->sync([] {});
}

TEST_F(ThreadedDispatchQueueTest, ABacklogOfAMillionGivesItsMemoryBack)
{
    queue->barrierAsync([this] {
        isInside.set_value();
        mayEnd.get_future().wait();
    });
    isInside.get_future().wait();
    const auto before = ::mallinfo2();
    for (int number = 0; number < 1'000'000; ++number)
        queue->barrierAsync([this] { ++ran; });
    const auto full = ::mallinfo2();
    mayEnd.set_value();
    dispatch.settle();
    const auto after = ::mallinfo2();

    EXPECT_EQ(ran, 1'000'000);
    if (isSanitized)
        return;
    EXPECT_GT(full.uordblks - before.uordblks, 90'000'000U);
    EXPECT_LT(after.uordblks, before.uordblks + 2'000'000U);
}

TEST_F(ThreadedDispatchQueueTest, SubmissionsOfOneThreadRunInTheirOrderWhoeverRunsThem)
{
    inThreads(4, [this](int thread) {
        for (int number = 0; number < 2000; ++number) {
            queue->barrierAsync(
                [this, thread, number] { orders[std::size_t(thread)].push_back(number); });
            if (number % 100 == thread)
                queue->sync([] {});
        }
    });
    queue->barrierSync([] {});

    for (const auto& order : orders) {
        ASSERT_EQ(order.size(), 2000U);
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    }
}

TEST_F(ThreadedDispatchQueueTest, AThousandQueuesAtRestKeepNoChunks)
{
    for (int number = 0; number < 1000; ++number) {
        queues.push_back(dispatch.makeConcurrentQueue("one of many"));
        queues.back()->barrierAsync([this] { ++foreign; });
    }
    dispatch.settle();

    EXPECT_EQ(foreign, 1000);
    // A megabyte of chunks in store, and well under a kilobyte for each queue.
    EXPECT_TRUE(isSanitized || ::mallinfo2().uordblks < 4'000'000U);
}

TEST(ReadWriteLockOnThreadsQuirk, WriteReturnsBeforeItsBlockHasRun)
{
    auto& platform = *new LinuxPlatform;
    installPlatform(platform.services());
    std::promise<void> mayRun;
    std::atomic<bool> hasRun { false };
    ReadWriteLock lock;

    lock.write([&] {
        mayRun.get_future().wait();
        hasRun = true;
    });
    EXPECT_FALSE(hasRun);
    mayRun.set_value();

    EXPECT_TRUE(lock.read([&] { return hasRun.load(); }));
}

} // namespace
} // namespace telvora
