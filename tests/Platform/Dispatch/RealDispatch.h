#pragma once

#include <Telvora/Platform/Dispatch/ThreadedDispatch.h>
#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>
#include <vector>

namespace telvora {

/// The dispatch as Linux has it.
class RealDispatch : public ThreadedDispatch {
public:
    RealDispatch()
        : ThreadedDispatch(detail::startDetachedThread)
    {
    }

    /// Returns when nothing waits or runs, however long that takes.
    void settle()
    {
        while (!waitUntilIdle(std::chrono::steady_clock::now() + std::chrono::hours(1))) { }
    }
};

/// The fixture of cases with threads. What blocks and handlers touch are members of a fixture that
/// derives from this one: they are destroyed after all blocks have run. A block never captures a
/// variable of the case.
class RealDispatchTest : public testing::Test {
protected:
    void TearDown() override { dispatch.settle(); }

    RealDispatch dispatch;
};

/// Runs `body` with the numbers from 0 on, each on a thread of its own, and waits for all.
inline void inThreads(int count, const std::function<void(int)>& body)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number)
        threads.emplace_back([&body, number] { body(number); });
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace telvora
