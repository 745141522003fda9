#include <Telvora/Classes/Utils/TrackerTimer.h>
#include <Telvora/Platform/TimerSource.h>

#include <tests/Platform/Dispatch/RealDispatch.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <random>
#include <thread>
#include <utility>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class TimerStressTest : public RealDispatchTest {
protected:
    std::atomic<int> running { 0 };
    std::atomic<int> met { 0 };
    std::atomic<int> late { 0 };
    std::atomic<int> ran { 0 };
    std::atomic<int> left { 100 };
    std::promise<void> ticked;
    std::latch allRan { 4 * 2000 };
};

TEST_F(TimerStressTest, HandlersOfOneSourceNeverRunAtOnce)
{
    const auto timer = dispatch.makeTimerSource();
    timer->setHandler([this] {
        met += running++ != 0;
        --running;
    });
    inThreads(4, [&](int number) {
        std::mt19937 random(static_cast<unsigned>(number));
        for (int step = 0; step < 3000; ++step) {
            switch (random() % 4) {
            case 0:
                timer->schedule(std::chrono::microseconds(random() % 50));
                break;
            case 1:
                timer->suspend();
                break;
            default:
                timer->resume();
            }
        }
    });

    timer->setHandler([this] {
        met += running++ != 0;
        if (--left == 0)
            ticked.set_value();
        --running;
    });
    timer->schedule(1us);
    for (int step = 0; step < 3000; ++step)
        timer->resume();
    ticked.get_future().wait();

    EXPECT_EQ(met, 0);
}

TEST_F(TimerStressTest, NoHandlerRunsAfterItsSourceIsGone)
{
    inThreads(4, [this](int) {
        for (int round = 0; round < 300; ++round) {
            const auto isAlive = std::make_shared<std::atomic<bool>>(true);
            auto timer = dispatch.makeTimerSource();
            timer->setHandler([this, isAlive] { late += !*isAlive; });
            timer->schedule(1us);
            timer->resume();
            timer->suspend();
            timer->resume();
            if (round % 3 == 0)
                std::this_thread::yield();
            timer.reset();
            *isAlive = false;
        }
    });
    dispatch.settle();

    EXPECT_EQ(late, 0);
}

TEST_F(TimerStressTest, StartsAndMovesAtOneMomentNeverLeaveTheTimerForGood)
{
    TrackerTimer timer;
    for (int round = 0; round < 200; ++round) {
        inThreads(4, [&](int number) {
            for (int step = 0; step < 20; ++step) {
                if (number < 2)
                    timer.start(3600, [] {});
                else
                    timer.suspend();
                timer.resume();
            }
        });
    }

    timer.start(0, [this, isFirst = true]() mutable {
        if (std::exchange(isFirst, false))
            ticked.set_value();
    });
    ticked.get_future().wait();
}

TEST_F(TimerStressTest, EveryDelayedBlockRunsOnce)
{
    inThreads(4, [this](int number) {
        std::mt19937 random(static_cast<unsigned>(number));
        for (int step = 0; step < 2000; ++step) {
            dispatch.globalAsyncAfter(std::chrono::microseconds(random() % 2000), [this] {
                ++ran;
                allRan.count_down();
            });
        }
    });
    allRan.wait();
    dispatch.settle();

    EXPECT_EQ(ran, 4 * 2000);
}

} // namespace
} // namespace telvora
