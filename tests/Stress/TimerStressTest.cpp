#include <Telvora/Classes/Utils/TrackerTimer.h>
#include <Telvora/Platform/Linux/LinuxDispatch.h>
#include <Telvora/Platform/TimerSource.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <latch>
#include <memory>
#include <random>
#include <thread>
#include <utility>
#include <vector>

namespace telvora {
namespace {

using namespace std::chrono_literals;

void inThreads(int count, const std::function<void(int)>& body)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number)
        threads.emplace_back([&body, number] { body(number); });
    for (std::thread& thread : threads)
        thread.join();
}

TEST(TimerStressTest, HandlersOfOneSourceNeverMeet)
{
    LinuxDispatch dispatch;
    const auto timer = dispatch.makeTimerSource();
    std::atomic<int> running { 0 };
    std::atomic<int> met { 0 };

    timer->setHandler([&] {
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
    std::promise<void> tickedOn;
    timer->setHandler([&, left = 100]() mutable {
        met += running++ != 0;
        if (--left == 0)
            tickedOn.set_value();
        --running;
    });
    timer->schedule(1us);
    for (int step = 0; step < 3000; ++step)
        timer->resume();
    tickedOn.get_future().wait();

    EXPECT_EQ(met, 0);
}

TEST(TimerStressTest, NoHandlerRunsAfterItsSourceIsGone)
{
    LinuxDispatch dispatch;
    std::atomic<int> late { 0 };

    inThreads(4, [&](int) {
        for (int round = 0; round < 300; ++round) {
            std::atomic<bool> isAlive { true };
            auto timer = dispatch.makeTimerSource();
            timer->setHandler([&] { late += !isAlive; });
            timer->schedule(1us);
            timer->resume();
            timer->suspend();
            timer->resume();
            if (round % 3 == 0)
                std::this_thread::yield();
            timer.reset();
            isAlive = false;
        }
    });
    dispatch.waitUntilIdle(std::chrono::steady_clock::now() + 10s);

    EXPECT_EQ(late, 0);
}

TEST(TimerStressTest, StartsAndMovesAtOneMomentNeverLeaveTheTimerForGood)
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

    std::promise<void> ticked;
    timer.start(0, [&, isFirst = true]() mutable {
        if (std::exchange(isFirst, false))
            ticked.set_value();
    });
    EXPECT_EQ(ticked.get_future().wait_for(30s), std::future_status::ready);
    timer.suspend();
}

TEST(TimerStressTest, EveryDelayedBlockRunsOnce)
{
    LinuxDispatch dispatch;
    std::latch allRan(4 * 2000);
    std::atomic<int> ran { 0 };

    inThreads(4, [&](int number) {
        std::mt19937 random(static_cast<unsigned>(number));
        for (int step = 0; step < 2000; ++step) {
            dispatch.globalAsyncAfter(std::chrono::microseconds(random() % 2000), [&] {
                ++ran;
                allRan.count_down();
            });
        }
    });
    allRan.wait();
    EXPECT_TRUE(dispatch.waitUntilIdle(std::chrono::steady_clock::now() + 30s));

    EXPECT_EQ(ran, 4 * 2000);
}

} // namespace
} // namespace telvora
