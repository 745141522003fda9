#include <tests/Platform/Dispatch/WorkerPoolFixture.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <thread>

// What workers without jobs do, with times that make it visible.

namespace telvora {
namespace {

using namespace std::chrono_literals;

/// Workers that sleep for a moment only.
class WorkerPoolSleepTest : public WorkerPoolTest {
protected:
    WorkerPoolSleepTest()
        : WorkerPoolTest({ .shortWait = 0ms, .longestSleep = 1ms })
    {
    }
};

// While another one is busy.
TEST_F(WorkerPoolSleepTest, TheFirstWorkerThatSleepsStays)
{
    pool->post([this] { mayEnd.get_future().wait(); });
    pool->post([this] { ++ran; });
    while (pool->counts().asleep != 1)
        std::this_thread::yield();
    const auto later = std::chrono::steady_clock::now() + 20ms;
    while (std::chrono::steady_clock::now() < later)
        std::this_thread::yield();

    EXPECT_EQ(pool->counts().workers, 2u);
    mayEnd.set_value();
    while (s_threads != 1)
        std::this_thread::yield();
}

TEST_F(WorkerPoolSleepTest, AWorkerEndsAfterItsSleepExceptTheLast)
{
    startFourWorkers();
    settle();
    while (s_threads != 1)
        std::this_thread::yield();

    pool->post([this] { ++ran; });
    settle();

    EXPECT_EQ(ran, 1);
    EXPECT_EQ(s_threadsStarted, 4);
}

/// Workers that fall asleep at once and then sleep as long as nobody wakes them.
class WorkerPoolWakeTest : public WorkerPoolTest {
protected:
    WorkerPoolWakeTest()
        : WorkerPoolTest({ .shortWait = 0ms, .longestSleep = 1h })
    {
    }

    void waitForSleepers(std::size_t count)
    {
        while (pool->counts().asleep != count)
            std::this_thread::yield();
    }
};

TEST_F(WorkerPoolWakeTest, AJobWakesOneOfTheSleepingWorkers)
{
    startFourWorkers();
    waitForSleepers(4);
    const std::size_t wakesBefore = pool->counts().wakes;

    pool->post([this] { ++ran; });
    waitForSleepers(4);

    EXPECT_EQ(ran, 1);
    EXPECT_EQ(pool->counts().wakes, wakesBefore + 1);
    EXPECT_EQ(s_threadsStarted, 4);
}

/// A job that notes when it ran.
struct NotedJob final : detail::Job {
    void run() noexcept override
    {
        at = std::chrono::steady_clock::now();
        hasRun = true;
    }

    std::chrono::steady_clock::time_point at;
    std::atomic<bool> hasRun { false };
};

/// Workers whose short wait does not end by itself.
class WorkerPoolShortWaitTest : public WorkerPoolTest {
protected:
    WorkerPoolShortWaitTest()
        : WorkerPoolTest({ .shortWait = 1h })
    {
    }

    NotedJob delayed;
};

TEST_F(WorkerPoolShortWaitTest, AJobThatIsPostedMeanwhileWakesAndStartsNoThread)
{
    pool->post([this] { ++ran; });
    while (ran == 0 || pool->counts().running > 0)
        std::this_thread::yield();

    pool->post([this] { ++ran; });
    EXPECT_EQ(pool->counts().wakes, 0U);
    EXPECT_EQ(s_threadsStarted, 1);
    settle();

    EXPECT_EQ(ran, 2);
}

TEST_F(WorkerPoolShortWaitTest, ADelayedJobRunsEarlyWhileSomebodyWaitsForIdleness)
{
    pool->post([this] { pool->postDelayed(delayed); });
    settle();

    EXPECT_TRUE(delayed.hasRun);
}

TEST_F(WorkerPoolShortWaitTest, RetiringEndsTheShortWait)
{
    pool->post([this] { ++ran; });
    while (ran == 0 || pool->counts().running > 0)
        std::this_thread::yield();

    pool->retire();
    while (s_threads > 0)
        std::this_thread::yield();

    EXPECT_EQ(ran, 1);
}

class WorkerPoolDelayTest : public WorkerPoolTest {
protected:
    static constexpr auto delay = 10ms;

    WorkerPoolDelayTest()
        : WorkerPoolTest({ .shortWait = delay })
    {
    }

    // Posts itself again until the delayed job has run.
    void postUntilTheDelayedJobHasRun()
    {
        if (!delayed.hasRun)
            pool->post([this] { postUntilTheDelayedJobHasRun(); });
    }

    NotedJob delayed;
    std::chrono::steady_clock::time_point posted;
};

TEST_F(WorkerPoolDelayTest, ADelayedJobRunsNoEarlierThanItsDelay)
{
    pool->post([this] {
        posted = std::chrono::steady_clock::now();
        pool->postDelayed(delayed);
    });
    while (!delayed.hasRun)
        std::this_thread::yield();

    EXPECT_GE(delayed.at - posted, delay);
}

TEST_F(WorkerPoolDelayTest, ADelayedJobRunsWhileOtherJobsNeverEnd)
{
    for (int job = 0; job < 16; ++job)
        postUntilTheDelayedJobHasRun();
    pool->post([this] { pool->postDelayed(delayed); });

    while (!delayed.hasRun)
        std::this_thread::yield();

    EXPECT_TRUE(delayed.hasRun);
}

} // namespace
} // namespace telvora
