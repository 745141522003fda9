#pragma once

#include <Telvora/Platform/Dispatch/WorkerPool.h>
#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <latch>
#include <memory>
#include <thread>
#include <utility>

namespace telvora {

inline std::atomic<bool> s_isRefusing { false };
inline std::atomic<int> s_threads { 0 };
inline std::atomic<int> s_threadsStarted { 0 };

/// Starts a thread and counts it, or refuses to.
inline bool startCounted(const char* name, Work body)
{
    if (s_isRefusing)
        return false;
    ++s_threads;
    ++s_threadsStarted;
    return detail::startDetachedThread(name, [body = std::move(body)]() mutable {
        body();
        body.reset();
        --s_threads;
    });
}

/// A pool whose threads are counted. What jobs touch are members of the fixture, which ends after
/// the last thread of the pool.
class WorkerPoolTest : public testing::Test {
protected:
    explicit WorkerPoolTest(detail::WorkerTimes times = {})
        : pool(std::make_shared<detail::WorkerPool>(startCounted, times))
    {
    }

    void TearDown() override
    {
        settle();
        pool->retire();
        while (s_threads > 0)
            std::this_thread::yield();
    }

    void settle()
    {
        while (!pool->waitUntilIdle(std::chrono::steady_clock::now() + std::chrono::hours(1))) { }
    }

    // Starts four workers, because each of the jobs waits for the other three.
    void startFourWorkers()
    {
        for (int job = 0; job < 4; ++job)
            pool->post([this] { met.arrive_and_wait(); });
    }

    std::atomic<int> ran { 0 };
    std::promise<void> mayEnd;
    std::latch met { 4 };
    const std::shared_ptr<detail::WorkerPool> pool;
};

} // namespace telvora
