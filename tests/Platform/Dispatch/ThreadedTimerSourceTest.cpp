#include <Telvora/Platform/TimerSource.h>

#include <tests/Platform/Dispatch/RealDispatch.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class ThreadedTimerSourceTest : public RealDispatchTest {
protected:
    void waitForTicks(int count)
    {
        while (ticks < count)
            std::this_thread::yield();
    }

    std::atomic<int> ticks { 0 };
    std::vector<std::chrono::steady_clock::time_point> instants;
    std::chrono::steady_clock::time_point endOfFirst;
    std::promise<void> isInside;
    std::promise<void> mayEnd;
    std::shared_ptr<int> witness = std::make_shared<int>(0);
    std::unique_ptr<TimerSource> timer = dispatch.makeTimerSource();
};

TEST_F(ThreadedTimerSourceTest, AnIntervalOfZeroOrLessTicksOnceAMillisecondAtMost)
{
    for (const std::chrono::nanoseconds interval : { 0ns, -1ns, 1ns }) {
        ticks = 0;
        timer = dispatch.makeTimerSource();
        timer->setHandler([this] { ++ticks; });
        const auto start = std::chrono::steady_clock::now();
        timer->schedule(interval);
        timer->resume();
        waitForTicks(20);
        timer.reset();

        EXPECT_GE(std::chrono::steady_clock::now() - start, 20ms);
    }
}

TEST_F(ThreadedTimerSourceTest, TicksThatPassWhileAHandlerRunsComeAsOne)
{
    timer->setHandler([this] {
        instants.push_back(std::chrono::steady_clock::now());
        if (++ticks > 1)
            return;
        std::this_thread::sleep_for(55ms);
        endOfFirst = std::chrono::steady_clock::now();
    });
    const auto beforeSchedule = std::chrono::steady_clock::now();
    timer->schedule(10ms);
    const auto afterSchedule = std::chrono::steady_clock::now();
    timer->resume();
    waitForTicks(3);
    timer.reset();

    // The second tick comes at once, the third one not before the next deadline.
    const auto passed = (endOfFirst - afterSchedule) / 10ms;
    EXPECT_GE(passed, 5);
    EXPECT_GE(instants[2], beforeSchedule + (passed + 1) * 10ms);
}

TEST_F(ThreadedTimerSourceTest, DestroyingItWaitsForTheHandler)
{
    timer->setHandler([this] {
        isInside.set_value();
        mayEnd.get_future().wait();
        ++ticks;
    });
    timer->schedule(1ms);
    timer->resume();
    isInside.get_future().wait();

    std::thread ending([this] { mayEnd.set_value(); });
    timer.reset();
    const int ticksAtTheEnd = ticks;
    ending.join();

    EXPECT_GE(ticksAtTheEnd, 1);
}

TEST_F(ThreadedTimerSourceTest, DestroyingItDestroysTheHandler)
{
    timer->setHandler([kept = witness] {});
    timer->schedule(1ms);
    timer->resume();

    timer.reset();

    EXPECT_EQ(witness.use_count(), 1);
}

TEST_F(ThreadedTimerSourceTest, AHandlerMayUseItsTimer)
{
    timer->setHandler([this] {
        if (++ticks == 1) {
            timer->suspend();
            timer->schedule(2ms);
            timer->resume();
        }
    });
    timer->schedule(1ms);
    timer->resume();

    waitForTicks(3);
    timer->suspend();
}

} // namespace
} // namespace telvora
