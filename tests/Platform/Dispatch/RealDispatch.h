#pragma once

#include <Telvora/Platform/Dispatch/ThreadedDispatch.h>
#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <tests/InThreads.h>

#include <gtest/gtest.h>

#include <chrono>

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

} // namespace telvora
