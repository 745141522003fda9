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

// Where the static objects of a child are when they die: exit handlers run from the newest to the
// oldest, so what this registers runs after the gate's handler if that was registered later.
void atEnd(void (*check)())
{
    std::atexit(check);
}

std::atomic<bool> s_isRunning { false };
std::promise<void> s_mayReturn;

/// Is inside the gate until told to leave.
void startThreadInside()
{
    std::promise<void> isInside;
    std::thread([&isInside] {
        callHost([&] {
            s_isRunning = true;
            isInside.set_value();
            s_mayReturn.get_future().wait();
            s_isRunning = false;
        });
    }).detach();
    isInside.get_future().wait();
}

TEST(ExitGateTest, LetsEveryoneInWhileTheProcessLives)
{
    const ExitGate::Pass outer;
    const ExitGate::Pass inner;

    EXPECT_TRUE(outer);
    EXPECT_TRUE(inner);
    EXPECT_FALSE(ExitGate::isClosed());
}

TEST(ExitGateTest, NobodyEntersOnceTheProcessEnds)
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
        noteHostClosure();
        startThreadInside();
        // Runs first, so the closure is still inside when the gate closes.
        std::atexit([] { s_mayReturn.set_value(); });
    }),
        "exited 4");
}

TEST(ExitGateTest, AClosureMayEndTheProcess)
{
    EXPECT_EQ(endOfChild([] {
        noteHostClosure();
        callHost([] { callHost([] { std::exit(5); }); });
    }),
        "exited 5");
}

TEST(ExitGateTest, TheNewestInstallationDecidesWhatIsStillAlive)
{
    EXPECT_EQ(endOfChild([] {
        noteHostClosure();
        atEnd([] {
            if (callHost([] { ::_exit(3); }) != HostCall::notCalled)
                ::_exit(4);
        });
        noteHostClosure();
    }),
        "exited 0");
}

TEST(ExitGateTest, WhatCameAfterTheInstallationMayStillBeCalled)
{
    EXPECT_EQ(endOfChild([] {
        noteHostClosure();
        atEnd([] {
            if (callHost([] {}) != HostCall::returned)
                ::_exit(4);
        });
    }),
        "exited 0");
}

TEST(ExitGateTest, AChildDoesNotWaitForThreadsItDoesNotHave)
{
    noteHostClosure();
    startThreadInside();

    const std::string end = endOfChild([] { detail::afterForkInChild(); });
    s_mayReturn.set_value();

    EXPECT_EQ(end, "exited 0");
}

TEST(ForkedChildTest, AChildForkedBeforeUseIsAProcessLikeAnyOther)
{
    EXPECT_EQ(endOfChild([] {
        detail::afterForkInChild();
        if (detail::isForkedChild() || callHost([] {}) != HostCall::returned)
            ::_exit(3);
    }),
        "exited 0");
}

TEST(ForkedChildTest, AChildForkedAfterUseIsInert)
{
    detail::noteUse();

    EXPECT_EQ(endOfChild([] {
        detail::afterForkInChild();
        if (!detail::isForkedChild() || callHost([] {}) != HostCall::notCalled)
            ::_exit(3);
    }),
        "exited 0");
    EXPECT_FALSE(detail::isForkedChild());
}

TEST(ForkedChildTest, AForkWaitsForTheEndOfANoForkScope)
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

    // And gives the lock back, in the parent and in the child.
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
