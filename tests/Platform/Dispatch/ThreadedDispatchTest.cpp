#include <Telvora/Platform/Dispatch/ThreadedDispatch.h>

#include <Telvora/Base/HostCall.h>

#include <tests/Platform/Dispatch/RealDispatch.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include <pthread.h>
#include <signal.h>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class ThreadedDispatchTest : public RealDispatchTest {
protected:
    std::promise<std::pair<std::string, bool>> seen;
    std::promise<void> mayEnd;
    std::atomic<int> ran { 0 };
    const std::unique_ptr<DispatchQueue> first = dispatch.makeConcurrentQueue("first");
    const std::unique_ptr<DispatchQueue> second = dispatch.makeConcurrentQueue("second");
};

TEST_F(ThreadedDispatchTest, WorkersAreNamedAndTakeNoSignals)
{
    dispatch.globalAsyncAfter(0s, [this] {
        char name[16] {};
        ::pthread_getname_np(::pthread_self(), name, sizeof name);
        sigset_t blocked;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        seen.set_value({ name, ::sigismember(&blocked, SIGTERM) == 1 });
    });

    EXPECT_EQ(seen.get_future().get(), std::pair(std::string("telvora-worker"), true));
}

TEST_F(ThreadedDispatchTest, WaitingForRestEndsAtTheDeadline)
{
    dispatch.globalAsyncAfter(0s, [this] { mayEnd.get_future().wait(); });

    EXPECT_FALSE(dispatch.waitUntilIdle(std::chrono::steady_clock::now() + 20ms));
    mayEnd.set_value();
    dispatch.settle();
}

TEST_F(ThreadedDispatchTest, RestMeansThatEverythingHasRun)
{
    for (int round = 0; round < 300; ++round) {
        first->barrierAsync([this] {
            second->barrierAsync([this] {
                dispatch.globalAsyncAfter(0s, [this] { first->barrierAsync([this] { ++ran; }); });
            });
        });
        dispatch.settle();
        ASSERT_EQ(ran, round + 1);
    }
}

TEST_F(ThreadedDispatchTest, AQueueMayOutliveItsDispatch)
{
    std::unique_ptr<DispatchQueue> queue;
    {
        RealDispatch shortLived;
        queue = shortLived.makeConcurrentQueue("survivor");
    }

    queue->barrierAsync([this] { ++ran; });
    queue->sync([] {});

    EXPECT_EQ(ran, 1);
}

TEST_F(ThreadedDispatchTest, AnExecutorOfTheHostsThatThrowsIsCountedAndHarmsNobody)
{
    ThreadedDispatch withExecutor(
        detail::startDetachedThread, [](Work) { throw std::runtime_error("not now"); });
    const auto exceptions = hostExceptionCount();

    withExecutor.mainAsync([] {});

    EXPECT_EQ(hostExceptionCount(), exceptions + 1);
}

} // namespace
} // namespace telvora
