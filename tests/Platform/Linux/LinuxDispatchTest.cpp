#include <Telvora/Platform/Linux/LinuxDispatch.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <latch>
#include <string>
#include <thread>

#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace telvora {
namespace {

using namespace std::chrono_literals;

TEST(LinuxDispatchTest, WorkersAreNamedAndTakeNoSignals)
{
    LinuxDispatch dispatch;
    std::promise<std::pair<std::string, bool>> seen;

    dispatch.globalAsync([&] {
        char name[16] {};
        ::pthread_getname_np(::pthread_self(), name, sizeof(name));
        sigset_t blocked;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        seen.set_value({ name, ::sigismember(&blocked, SIGTERM) == 1 });
    });

    EXPECT_EQ(seen.get_future().get(), std::pair(std::string("telvora-worker"), true));
}

TEST(LinuxDispatchTest, PlainBlocksRunSideBySide)
{
    LinuxDispatch dispatch;
    const auto queue = dispatch.makeConcurrentQueue("side by side");
    std::latch met(2);

    for (int i = 0; i < 2; ++i)
        queue->async([&] { met.arrive_and_wait(); });

    EXPECT_TRUE(dispatch.waitUntilIdle(std::chrono::steady_clock::now() + 30s));
}

TEST(LinuxDispatchTest, ABlockMayWaitForWhatItSubmittedToAnotherQueue)
{
    LinuxDispatch dispatch;
    const auto first = dispatch.makeConcurrentQueue("first");
    const auto second = dispatch.makeConcurrentQueue("second");

    first->barrierAsync([&] {
        std::promise<void> ran;
        second->barrierAsync([&] { ran.set_value(); });
        ran.get_future().wait();
    });

    EXPECT_TRUE(dispatch.waitUntilIdle(std::chrono::steady_clock::now() + 30s));
}

TEST(LinuxDispatchTest, WaitingForRestEndsAtTheDeadline)
{
    LinuxDispatch dispatch;
    std::promise<void> mayEnd;

    dispatch.globalAsync([&] { mayEnd.get_future().wait(); });
    EXPECT_FALSE(dispatch.waitUntilIdle(std::chrono::steady_clock::now() + 20ms));

    mayEnd.set_value();
    EXPECT_TRUE(dispatch.waitUntilIdle(std::chrono::steady_clock::now() + 30s));
}

TEST(LinuxDispatchTest, AForkedChildNeitherRunsAsynchronousWorkNorHangs)
{
    LinuxDispatch dispatch;
    const auto queue = dispatch.makeConcurrentQueue("forked");
    queue->barrierAsync([] {});
    ASSERT_TRUE(dispatch.waitUntilIdle(std::chrono::steady_clock::now() + 30s));

    const pid_t child = ::fork();
    if (child == 0) {
        std::atomic<bool> hasRun { false };
        bool hasRead = false;
        queue->barrierAsync([&] { hasRun = true; });
        dispatch.globalAsync([&] { hasRun = true; });
        queue->sync([&] { hasRead = true; });
        ::_exit(hasRead && !hasRun ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);

    EXPECT_EQ(status, 0);
}

} // namespace
} // namespace telvora
