#include <Telvora/Platform/TimerSource.h>

#include <tests/ChildProcess.h>
#include <tests/PeakMemory.h>
#include <tests/Platform/Dispatch/RealDispatch.h>
#include <tests/Sanitized.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace telvora {
namespace {

using namespace std::chrono_literals;

// A child ends by exit(), which destroys nothing of the fixture.
class DispatchForkTest : public RealDispatchTest {
protected:
    std::atomic<int> ran { 0 };
    std::atomic<bool> isEnding { false };
    pid_t child = -1;
    const std::unique_ptr<DispatchQueue> queue = dispatch.makeConcurrentQueue("forked");
    const std::unique_ptr<DispatchQueue> other = dispatch.makeConcurrentQueue("other");
    const std::unique_ptr<TimerSource> timer = dispatch.makeTimerSource();
};

TEST_F(DispatchForkTest, AChildForkedBeforeTheFirstUseWorksLikeItsParent)
{
    EXPECT_EQ(endOfChild([this] {
        queue->barrierAsync([this] { ++ran; });
        dispatch.globalAsyncAfter(1ms, [this] { ++ran; });
        timer->setHandler([this] { ++ran; });
        timer->schedule(1ms);
        timer->resume();
        queue->sync([] {});
        while (ran < 4)
            std::this_thread::yield();
        timer->suspend();
        dispatch.settle();
    }),
        "exited 0");
    EXPECT_EQ(ran, 0);
}

TEST_F(DispatchForkTest, AChildForkedLaterDropsAsynchronousBlocksAndRunsSynchronousOnesAtOnce)
{
    queue->barrierAsync([this] { ++ran; });
    dispatch.settle();

    EXPECT_EQ(endOfChild([this] {
        queue->barrierAsync([] { ::_exit(3); });
        dispatch.globalAsyncAfter(0ms, [] { ::_exit(4); });
        dispatch.mainAsync([] { ::_exit(5); });
        timer->setHandler([] { ::_exit(6); });
        timer->schedule(1ms);
        timer->resume();
        bool hasRead = false;
        bool hasWritten = false;
        queue->sync([&] { hasRead = true; });
        queue->barrierSync([&] { hasWritten = true; });
        std::this_thread::sleep_for(20ms);
        if (!hasRead || !hasWritten)
            ::_exit(7);
    }),
        "exited 0");
}

TEST_F(DispatchForkTest, AChildThatSubmitsAMillionBlocksKeepsNone)
{
    queue->barrierAsync([this] { ++ran; });
    dispatch.settle();

    EXPECT_EQ(endOfChild([this] {
        const long before = peakMemory();
        for (int number = 0; number < 1'000'000; ++number)
            queue->barrierAsync([text = std::string(60, 'x')] { static_cast<void>(text); });
        const long growth = peakMemory() - before;
        if (!isSanitized && growth > 10'000)
            ::_exit(3);
    }),
        "exited 0");
}

TEST_F(DispatchForkTest, ABlockMayFork)
{
    const auto ends = std::make_shared<std::string>();
    queue->barrierAsync([this, ends] {
        *ends = endOfChild([this] {
            queue->barrierAsync([] { ::_exit(3); });
            other->sync([] {});
            queue->sync([] {});
        });
    });
    dispatch.settle();

    EXPECT_EQ(*ends, "exited 0");
    queue->sync([this] { ++ran; });
    EXPECT_EQ(ran, 1);
}

// A fork copies the sanitizers' own state and locks as other threads left them: allocations hang in
// a child, and with the thread sanitizer it crashes when it ends on another thread than the main
// one.
#ifndef TELVORA_SANITIZED
TEST_F(DispatchForkTest, AChildMayReturnFromTheBlockThatForked)
{
    // On a worker or on the thread that waits for the block, whichever is faster.
    for (int round = 0; round < 20; ++round) {
        queue->barrierAsync([this] {
            child = ::fork();
            s_isChildOfTest = child == 0;
        });
        queue->sync([] {});
        if (child == 0)
            ::_exit(0);
        EXPECT_EQ(endOf(child), "exited 0");
        dispatch.settle();
    }
}

TEST_F(DispatchForkTest, ForksUnderLoadNeverHang)
{
    std::thread load([this] {
        inThreads(3, [this](int number) {
            while (!isEnding) {
                queue->barrierAsync([this] { other->barrierAsync([this] { ++ran; }); });
                if (number == 0)
                    queue->barrierSync([] {});
                else
                    other->sync([] {});
                dispatch.globalAsyncAfter(0ms, [this] { ++ran; });
            }
        });
    });
    while (ran == 0)
        std::this_thread::yield();

    for (int round = 0; round < 200; ++round) {
        EXPECT_EQ(endOfChild([this] {
            queue->barrierAsync([] {});
            queue->sync([] {});
            other->barrierSync([] {});
            dispatch.globalAsyncAfter(1ms, [] {});
            dispatch.makeConcurrentQueue("child's")->sync([] {});
            timer->resume();
        }),
            "exited 0")
            << round;
    }
    isEnding = true;
    load.join();
    dispatch.settle();
}
#endif

} // namespace
} // namespace telvora
