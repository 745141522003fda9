#include <Telvora/Platform/Simulated/ManualClock.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>

namespace telvora {
namespace {

using namespace std::chrono_literals;

TEST(ManualClockTest, StandsStillUntilMoved)
{
    ManualClock clock;

    EXPECT_EQ(clock.secondsSince1970(), 1700000000.0);
    EXPECT_EQ(clock.secondsSince1970(), 1700000000.0);
    EXPECT_EQ(clock.steadyNow(), clock.steadyNow());
}

TEST(ManualClockTest, AdvanceMovesBothClocks)
{
    ManualClock clock;
    const auto before = clock.steadyNow();

    clock.advance(1500ms);

    EXPECT_EQ(clock.secondsSince1970(), 1700000001.5);
    EXPECT_EQ(clock.steadyNow() - before, 1500ms);
}

TEST(ManualClockTest, ManySmallStepsMakeOneLargeStep)
{
    ManualClock inSteps;
    ManualClock atOnce;

    for (int step = 0; step < 1000; ++step)
        inSteps.advance(100ms);
    atOnce.advance(100s);

    EXPECT_EQ(inSteps.secondsSince1970(), atOnce.secondsSince1970());
}

TEST(ManualClockTest, NegativeStepMovesNothing)
{
    ManualClock clock;
    const auto before = clock.steadyNow();

    clock.advance(-1s);
    clock.advanceTo(before - 1s);

    EXPECT_EQ(clock.steadyNow(), before);
    EXPECT_EQ(clock.secondsSince1970(), 1700000000.0);
}

TEST(ManualClockTest, SteadyClockStopsAtTheEndOfTime)
{
    ManualClock clock;

    clock.advance(std::chrono::nanoseconds::max());
    clock.advance(std::chrono::nanoseconds::max());

    EXPECT_EQ(clock.steadyNow(), std::chrono::steady_clock::time_point::max());
}

TEST(ManualClockTest, SettingTheDateLeavesTheSteadyClockAlone)
{
    ManualClock clock;
    clock.advance(10s);
    const auto before = clock.steadyNow();

    clock.setWallTime(5.5);
    EXPECT_EQ(clock.secondsSince1970(), 5.5);
    EXPECT_EQ(clock.steadyNow(), before);

    clock.advance(2s);
    EXPECT_EQ(clock.secondsSince1970(), 7.5);
}

TEST(ManualClockTest, TakesAnyNumberForTheDate)
{
    ManualClock clock;

    clock.setWallTime(std::numeric_limits<double>::quiet_NaN());
    clock.advance(1s);
    EXPECT_TRUE(std::isnan(clock.secondsSince1970()));

    clock.setWallTime(-std::numeric_limits<double>::infinity());
    clock.advance(1s);
    EXPECT_EQ(clock.secondsSince1970(), -std::numeric_limits<double>::infinity());

    clock.setWallTime(1e300);
    EXPECT_EQ(clock.secondsSince1970(), 1e300);
}

TEST(ManualClockTest, SecondsBecomeTheNearestNanoseconds)
{
    EXPECT_EQ(nanosecondsFromSeconds(0.1), 100ms);
    EXPECT_EQ(nanosecondsFromSeconds(60), 60s);
    EXPECT_EQ(nanosecondsFromSeconds(-0.25), -250ms);
    EXPECT_EQ(nanosecondsFromSeconds(1e300), std::chrono::nanoseconds::max());
    EXPECT_EQ(nanosecondsFromSeconds(-1e300), std::chrono::nanoseconds::min());
    EXPECT_EQ(nanosecondsFromSeconds(std::nan("")), 0ns);
}

} // namespace
} // namespace telvora
