#include <Telvora/Platform/Simulated/ManualDispatch.h>
#include <Telvora/Platform/TimerSource.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class ManualTimerSourceTest : public testing::Test {
protected:
    ManualTimerSourceTest()
    {
        timer->setHandler([this] {
            ticks.push_back(
                std::chrono::duration_cast<std::chrono::seconds>(clock.steadyNow() - start)
                    .count());
        });
    }

    using Ticks = std::vector<long>;

    ManualClock clock;
    const std::chrono::steady_clock::time_point start = clock.steadyNow();
    ManualDispatch dispatch { clock };
    std::unique_ptr<TimerSource> timer = dispatch.makeTimerSource();
    // At which second each tick came.
    Ticks ticks;
};

TEST_F(ManualTimerSourceTest, TicksAtEveryMultipleOfTheInterval)
{
    timer->schedule(60s);
    timer->resume();

    dispatch.advance(59s);
    EXPECT_EQ(ticks, Ticks {});
    dispatch.advance(121s);
    EXPECT_EQ(ticks, (Ticks { 60, 120, 180 }));
}

TEST_F(ManualTimerSourceTest, IsMadeSuspendedAndWithoutASchedule)
{
    timer->resume();
    dispatch.advance(100s);
    EXPECT_EQ(ticks, Ticks {});

    auto suspended = dispatch.makeTimerSource();
    suspended->setHandler([&] { ticks.push_back(-1); });
    suspended->schedule(10s);
    dispatch.advance(100s);
    EXPECT_EQ(ticks, Ticks {});
}

TEST_F(ManualTimerSourceTest, MissedTicksMakeOneAtTheResumeAndThePhaseStays)
{
    timer->schedule(60s);
    timer->resume();
    timer->suspend();
    dispatch.advance(200s);
    EXPECT_EQ(ticks, Ticks {});

    timer->resume();
    dispatch.runUntilIdle();
    EXPECT_EQ(ticks, Ticks { 200 });
    dispatch.advance(40s);
    EXPECT_EQ(ticks, (Ticks { 200, 240 }));
}

TEST_F(ManualTimerSourceTest, ResumeWithoutAMissedTickBringsNone)
{
    timer->schedule(60s);
    timer->resume();
    timer->suspend();
    dispatch.advance(30s);

    timer->resume();
    dispatch.runUntilIdle();
    EXPECT_EQ(ticks, Ticks {});
    dispatch.advance(30s);
    EXPECT_EQ(ticks, Ticks { 60 });
}

TEST_F(ManualTimerSourceTest, SuspendsCount)
{
    timer->schedule(10s);
    timer->resume();
    timer->suspend();
    timer->suspend();

    timer->resume();
    dispatch.advance(15s);
    EXPECT_EQ(ticks, Ticks {});
    timer->resume();
    dispatch.runUntilIdle();
    EXPECT_EQ(ticks, Ticks { 15 });
}

TEST_F(ManualTimerSourceTest, AResumeTooManyIsIgnored)
{
    timer->schedule(10s);
    timer->resume();
    timer->resume();
    timer->resume();

    timer->suspend();
    dispatch.advance(15s);

    EXPECT_EQ(ticks, Ticks {});
}

TEST_F(ManualTimerSourceTest, UnderHoldAtMostOneTickIsReady)
{
    dispatch.setHold(true);
    timer->schedule(10s);
    timer->resume();

    dispatch.advance(35s);
    EXPECT_EQ(dispatch.readyBlockCount(), 1U);
    dispatch.setHold(false);
    dispatch.runUntilIdle();
    EXPECT_EQ(ticks, Ticks { 35 });
    dispatch.advance(5s);
    EXPECT_EQ(ticks, (Ticks { 35, 40 }));
}

TEST_F(ManualTimerSourceTest, SuspendTakesAReadyTickBackUntilTheResume)
{
    dispatch.setHold(true);
    timer->schedule(10s);
    timer->resume();
    dispatch.advance(10s);

    timer->suspend();
    EXPECT_EQ(dispatch.readyBlockCount(), 0U);
    timer->resume();
    EXPECT_EQ(dispatch.readyBlockCount(), 1U);
}

TEST_F(ManualTimerSourceTest, SchedulingCountsTheIntervalAfreshAndForgetsMissedTicks)
{
    timer->schedule(60s);
    timer->resume();
    timer->suspend();
    dispatch.advance(90s);

    timer->schedule(30s);
    timer->resume();
    dispatch.runUntilIdle();
    EXPECT_EQ(ticks, Ticks {});
    dispatch.advance(30s);
    EXPECT_EQ(ticks, Ticks { 120 });
}

TEST_F(ManualTimerSourceTest, ANewHandlerTakesTheNextTick)
{
    std::string said;
    timer->setHandler([&] {
        said += "a";
        timer->setHandler([&] { said += "b"; });
    });
    timer->schedule(10s);
    timer->resume();

    dispatch.advance(30s);

    EXPECT_EQ(said, "abb");
}

TEST_F(ManualTimerSourceTest, AHandlerMayDestroyItsTimer)
{
    timer->setHandler([&] {
        timer.reset();
        ticks.push_back(1);
    });
    timer->schedule(10s);
    timer->resume();

    dispatch.advance(100s);

    EXPECT_EQ(ticks, Ticks { 1 });
}

TEST_F(ManualTimerSourceTest, ADestroyedTimerTakesItsReadyTickAlong)
{
    dispatch.setHold(true);
    timer->schedule(10s);
    timer->resume();
    dispatch.advance(10s);

    timer.reset();

    EXPECT_EQ(dispatch.readyBlockCount(), 0U);
    EXPECT_FALSE(dispatch.nextInstant());
}

TEST_F(ManualTimerSourceTest, TicksComeOnAnotherThread)
{
    bool isMain = true;
    timer->setHandler([&] { isMain = dispatch.isOnMainThread(); });
    timer->schedule(1s);
    timer->resume();

    dispatch.advance(1s);

    EXPECT_FALSE(isMain);
}

TEST_F(ManualTimerSourceTest, TellsTheObserverOfEachCallAndItsInterval)
{
    std::string told;
    dispatch.setTimerObserver([&](ManualDispatch::TimerAction action, std::chrono::nanoseconds i) {
        using Action = ManualDispatch::TimerAction;
        told += action == Action::schedule ? "schedule "
            : action == Action::suspend    ? "suspend "
                                           : "resume ";
        told += std::to_string(std::chrono::duration_cast<std::chrono::seconds>(i).count()) + " ";
    });

    timer->schedule(60s);
    timer->resume();
    timer->suspend();

    EXPECT_EQ(told, "schedule 60 resume 60 suspend 60 ");
}

TEST(ManualTimerSourceQuirk, AnIntervalOfZeroTicksWheneverTheClockStops)
{
    ManualClock clock;
    ManualDispatch dispatch(clock);
    auto timer = dispatch.makeTimerSource();
    int ticks = 0;
    timer->setHandler([&] { ++ticks; });
    timer->schedule(0s);
    timer->resume();
    dispatch.globalAsyncAfter(1s, [] {});

    dispatch.advance(5s);

    EXPECT_EQ(ticks, 2);
}

} // namespace
} // namespace telvora
