#include <Telvora/Platform/Linux/Process/ForkHandlers.h>

#include <Telvora/Base/ForkedChild.h>

#include <tests/ChildProcess.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

/// Each case runs in a process of its own that has not used the library.
class ForkHandlersTest : public testing::Test {
protected:
    ForkHandlersTest() { installForkHandlers(); }
};

/// Calls `body` on a thread and returns once it has set `isInside`.
template<typename Body> std::thread startInside(std::atomic<bool>& isInside, Body body)
{
    std::thread thread(std::move(body));
    while (!isInside)
        std::this_thread::yield();
    return thread;
}

void expectChild(bool isInert)
{
    EXPECT_EQ(endOfChild([isInert] { ::_exit(isForkedChild() == isInert ? 0 : 3); }), "exited 0");
}

TEST_F(ForkHandlersTest, AChildOfAnUnusedLibraryIsNotInert)
{
    expectChild(false);
}

TEST_F(ForkHandlersTest, AChildOfAUsedLibraryIsInert)
{
    noteUse();

    expectChild(true);
}

TEST_F(ForkHandlersTest, ALockedCallOfAnotherThreadMakesAnInertChild)
{
    std::atomic<bool> isInside { false };
    std::atomic<bool> isEnding { false };
    std::thread other = startInside(isInside, [&] {
        const LockedCallScope scope;
        isInside = true;
        while (!isEnding)
            std::this_thread::yield();
    });

    expectChild(true);

    isEnding = true;
    other.join();
    expectChild(false);
}

TEST_F(ForkHandlersTest, ALockedCallOfTheForkingThreadDoesNot)
{
    const LockedCallScope scope;

    expectChild(false);
}

TEST_F(ForkHandlersTest, AForkBeforeTheFirstUseWaitsForALockOfAnotherThread)
{
    std::atomic<bool> isInside { false };
    std::atomic<bool> isOver { false };
    std::atomic<bool> isEnding { false };
    std::thread other = startInside(isInside, [&] {
        {
            const NoForkBeforeUse scope;
            isInside = true;
            std::this_thread::sleep_for(20ms);
            isOver = true;
        }
        // The thread sanitizer reports a thread that has ended and that the child cannot join.
        while (!isEnding)
            std::this_thread::yield();
    });

    EXPECT_EQ(endOfChild([&] { ::_exit(isOver ? 0 : 3); }), "exited 0");

    isEnding = true;
    other.join();
}

TEST_F(ForkHandlersTest, AForkAfterTheFirstUseDoesNotWait)
{
    noteUse();
    const NoForkBeforeUse scope;

    expectChild(true);
}

} // namespace
} // namespace telvora::detail
