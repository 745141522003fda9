#include <Telvora/Base/ExitGate.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/HostCall.h>

#include <tests/ChildProcess.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <future>
#include <thread>

namespace telvora {
namespace {

using detail::ExitGate;

// Runs `check` when a static object made now would be destroyed. Exit handlers run newest first, so
// a gate's handler that is registered later runs before it.
void atEnd(void (*check)())
{
    std::atexit(check);
}

std::atomic<bool> s_isRunning { false };
std::promise<void> s_mayReturn;

// Starts a thread that stays inside the gate until s_mayReturn is set.
void startThreadInside()
{
    std::promise<void> isInside;
    std::thread([&isInside] {
        detail::callHost([&] {
            s_isRunning = true;
            isInside.set_value();
            s_mayReturn.get_future().wait();
            s_isRunning = false;
        });
    }).detach();
    isInside.get_future().wait();
}

TEST(ExitGateTest, IsOpenUntilExit)
{
    const ExitGate::Pass outer;
    const ExitGate::Pass inner;

    EXPECT_TRUE(outer);
    EXPECT_TRUE(inner);
    EXPECT_FALSE(ExitGate::isClosed());
}

TEST(ExitGateTest, NoThreadEntersDuringExit)
{
    EXPECT_EQ(endOfChild([] {
        atEnd([] {
            if (ExitGate::Pass() || !ExitGate::isClosed())
                ::_exit(3);
        });
        ExitGate::watch();
    }),
        "exited 0");
}

TEST(ExitGateTest, ExitWaitsForAClosureThatIsRunning)
{
    EXPECT_EQ(endOfChild([] {
        atEnd([] { ::_exit(s_isRunning ? 3 : 4); });
        detail::noteHostClosure();
        startThreadInside();
        // The newest handler runs first: the closure may return once exit() has begun.
        std::atexit([] { s_mayReturn.set_value(); });
    }),
        "exited 4");
}

TEST(ExitGateTest, AClosureMayEndTheProcess)
{
    EXPECT_EQ(endOfChild([] {
        detail::noteHostClosure();
        detail::callHost([] { detail::callHost([] { std::exit(5); }); });
    }),
        "exited 5");
}

TEST(ExitGateTest, ClosesBeforeObjectsOlderThanTheNewestClosureAreDestroyed)
{
    EXPECT_EQ(endOfChild([] {
        detail::noteHostClosure();
        atEnd([] {
            if (detail::callHost([] { ::_exit(3); }) != detail::HostCall::notCalled)
                ::_exit(4);
        });
        detail::noteHostClosure();
    }),
        "exited 0");
}

TEST(ExitGateTest, IsOpenWhileObjectsNewerThanTheClosureAreDestroyed)
{
    EXPECT_EQ(endOfChild([] {
        detail::noteHostClosure();
        atEnd([] {
            if (detail::callHost([] {}) != detail::HostCall::returned)
                ::_exit(4);
        });
    }),
        "exited 0");
}

TEST(ExitGateTest, AChildDoesNotWaitForThreadsItDoesNotHave)
{
    detail::noteHostClosure();
    startThreadInside();

    const std::string end = endOfChild([] { detail::afterForkInChild(); });
    s_mayReturn.set_value();

    EXPECT_EQ(end, "exited 0");
}

TEST(ForkedChildTest, AChildForkedBeforeUseWorks)
{
    EXPECT_EQ(endOfChild([] {
        detail::afterForkInChild();
        if (detail::isForkedChild() || detail::callHost([] {}) != detail::HostCall::returned)
            ::_exit(3);
    }),
        "exited 0");
}

TEST(ForkedChildTest, AChildForkedAfterUseIsInert)
{
    detail::noteUse();

    EXPECT_EQ(endOfChild([] {
        detail::afterForkInChild();
        if (!detail::isForkedChild() || detail::callHost([] {}) != detail::HostCall::notCalled)
            ::_exit(3);
    }),
        "exited 0");
    EXPECT_FALSE(detail::isForkedChild());
}

TEST(ForkedChildTest, AForkWaitsUntilANoForkScopeEnds)
{
    std::promise<void> isInside;
    std::atomic<bool> mayLeave { false };
    std::atomic<bool> hasLeft { false };
    std::thread inside([&] {
        {
            const detail::NoForkScope scope;
            isInside.set_value();
            while (!mayLeave)
                std::this_thread::yield();
            hasLeft = true;
        }
    });
    isInside.get_future().wait();

    std::thread forking([&] {
        mayLeave = true;
        detail::beforeFork();
        EXPECT_TRUE(hasLeft);
        detail::afterForkInParent();
    });
    forking.join();
    inside.join();

    // The fork has released the lock, in the parent and in the child.
    {
        const detail::NoForkScope scope;
    }
    EXPECT_EQ(endOfChild([] {
        detail::afterForkInChild();
        const detail::NoForkScope scope;
    }),
        "exited 0");
}

} // namespace
} // namespace telvora
