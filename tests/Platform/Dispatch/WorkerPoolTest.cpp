#include <tests/Platform/Dispatch/WorkerPoolFixture.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

namespace telvora {
namespace {

using namespace std::chrono_literals;
using detail::WorkerPool;

TEST_F(WorkerPoolTest, StartsNoThreadBeforeTheFirstJob)
{
    EXPECT_EQ(s_threadsStarted, 0);

    pool->post([this] { ++ran; });
    settle();

    EXPECT_EQ(ran, 1);
    EXPECT_EQ(s_threadsStarted, 1);
}

TEST_F(WorkerPoolTest, JobsOneAfterTheOtherNeedOneThread)
{
    for (int round = 0; round < 100; ++round) {
        pool->post([this] { ++ran; });
        settle();
    }

    EXPECT_EQ(ran, 100);
    EXPECT_EQ(s_threadsStarted, 1);
}

TEST_F(WorkerPoolTest, FourJobsRunSideBySide)
{
    startFourWorkers();

    settle();
    EXPECT_EQ(s_threadsStarted, 4);
}

TEST_F(WorkerPoolTest, AWorkerThatWaitsForAnotherIsReplaced)
{
    // More of them than the pool has workers on any machine, each waiting for the last.
    const int blocked = 64 + static_cast<int>(std::thread::hardware_concurrency());
    const auto gate = std::make_shared<std::shared_future<void>>(mayEnd.get_future().share());
    for (int job = 0; job < blocked; ++job) {
        pool->post([this, gate] {
            const WorkerPool::Blocked waiting(*pool);
            gate->wait();
            ++ran;
        });
    }
    pool->post([this] { mayEnd.set_value(); });
    settle();

    EXPECT_EQ(ran, blocked);
}

TEST_F(WorkerPoolTest, JobsWaitWhereTheSystemRefusesAThread)
{
    s_isRefusing = true;
    pool->post([this] { ++ran; });
    EXPECT_FALSE(pool->waitUntilIdle(std::chrono::steady_clock::now()));
    EXPECT_EQ(ran, 0);

    s_isRefusing = false;
    pool->post([this] { ++ran; });
    settle();

    EXPECT_EQ(ran, 2);
}

TEST_F(WorkerPoolTest, IsNotIdleWhileAJobRuns)
{
    pool->post([this] { mayEnd.get_future().wait(); });

    EXPECT_FALSE(pool->waitUntilIdle(std::chrono::steady_clock::now() + 20ms));
    mayEnd.set_value();
    settle();
}

TEST_F(WorkerPoolTest, IsIdleOnlyAfterWhatJobsHavePosted)
{
    for (int round = 0; round < 300; ++round) {
        pool->post([this] { pool->post([this] { pool->post([this] { ++ran; }); }); });
        settle();
        ASSERT_EQ(ran, round + 1);
    }
}

TEST_F(WorkerPoolTest, RetiringEndsWorkersThatHaveNothingToDo)
{
    pool->post([this] { ++ran; });
    settle();

    pool->retire();
    while (s_threads > 0)
        std::this_thread::yield();

    pool->post([this] { ++ran; });
    settle();
    EXPECT_EQ(ran, 2);
}

TEST_F(WorkerPoolTest, AnExceptionOfAJobEndsThere)
{
    pool->post([] { throw 7; });
    pool->post([this] { ++ran; });
    settle();

    EXPECT_EQ(ran, 1);
    EXPECT_LE(s_threadsStarted, 2);
}

} // namespace
} // namespace telvora
