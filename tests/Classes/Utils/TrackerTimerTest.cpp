#include <Telvora/Classes/Utils/TrackerTimer.h>

#include <tests/Classes/SimulatedHost.h>

#include <limits>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class TrackerTimerTest : public SimulatedHost {
protected:
    static void pass(std::chrono::seconds time) { simulated().advance(time); }

    TrackerTimer timer;
    int ticks = 0;
};

using TrackerTimerQuirk = TrackerTimerTest;

TEST_F(TrackerTimerTest, IsNotRunningUntilStarted)
{
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(timer.postInterval(), 60);

    timer.start({}, [&] { ++ticks; });

    EXPECT_TRUE(timer.isRunning());
}

TEST_F(TrackerTimerTest, FirstTickComesOneFullIntervalAfterStart)
{
    timer.start({}, [&] { ++ticks; });

    pass(59s);
    EXPECT_EQ(ticks, 0);
    pass(1s);
    EXPECT_EQ(ticks, 1);
    pass(120s);
    EXPECT_EQ(ticks, 3);
}

TEST_F(TrackerTimerTest, AnIntervalGivenOnceIsKept)
{
    timer.start(10, [&] { ++ticks; });
    EXPECT_EQ(timer.postInterval(), 10);

    timer.start({}, [&] { ++ticks; });

    EXPECT_EQ(timer.postInterval(), 10);
    pass(10s);
    EXPECT_EQ(ticks, 1);
}

TEST_F(TrackerTimerTest, ASecondStartReplacesTheHandlerAndBeginsTheInterval)
{
    int others = 0;
    timer.start({}, [&] { ++ticks; });
    pass(30s);

    timer.start({}, [&] { ++others; });
    pass(59s);
    EXPECT_EQ(others, 0);
    pass(1s);

    EXPECT_EQ(ticks, 0);
    EXPECT_EQ(others, 1);
    // The source was resumed only once: one suspend stops it.
    timer.suspend();
    pass(600s);
    EXPECT_EQ(others, 1);
}

TEST_F(TrackerTimerTest, ASuspendedTimerDoesNotTickAndResumesWithAtMostOneMissedTick)
{
    timer.start({}, [&] { ++ticks; });
    timer.suspend();
    EXPECT_FALSE(timer.isRunning());

    pass(300s);
    EXPECT_EQ(ticks, 0);

    timer.resume();
    simulated().runUntilIdle();
    EXPECT_TRUE(timer.isRunning());
    EXPECT_LE(ticks, 1);
    const int missed = ticks;
    pass(60s);
    EXPECT_EQ(ticks, missed + 1);
}

TEST_F(TrackerTimerTest, SuspendingAndResumingTwiceIsTheSameAsOnce)
{
    timer.start({}, [&] { ++ticks; });

    timer.suspend();
    timer.suspend();
    timer.resume();
    timer.resume();

    pass(60s);
    EXPECT_EQ(ticks, 1);
}

TEST_F(TrackerTimerQuirk, FailuresAreNotCountedAndChangeNoInterval)
{
    answerAll(failure());
    addChannel("APM", 1);
    TrackerManager::start();
    append("APM", 1, 5);
    pass(600s);

    EXPECT_EQ(manager().trackerTimer().failureCount(), 0);
    EXPECT_EQ(manager().trackerTimer().postInterval(), 60);
}

TEST_F(TrackerTimerTest, AHandlerMayCallTheTimerWhileItIsDestroyed)
{
    const auto onceGone = [this](void*) { timer.suspend(); };
    timer.start({}, [held = std::shared_ptr<void>(nullptr, onceGone)] {});

    timer.start({}, [this] { ++ticks; });

    EXPECT_FALSE(timer.isRunning());
    pass(60s);
    EXPECT_EQ(ticks, 0);
}

TEST_F(TrackerTimerTest, AnEmptyHandlerIsSkipped)
{
    timer.start({}, {});

    pass(60s);

    EXPECT_TRUE(timer.isRunning());
}

TEST_F(TrackerTimerTest, AnIntervalOfZeroOrLessIsKeptAndTicksWhenTheClockStops)
{
    for (const std::int64_t interval : { 0, -5 }) {
        ticks = 0;

        timer.start(interval, [this] { ++ticks; });
        pass(1s);

        EXPECT_EQ(timer.postInterval(), interval);
        EXPECT_EQ(ticks, 1);
    }
}

TEST_F(TrackerTimerTest, AnIntervalLongerThanAnyClockIsAccepted)
{
    timer.start(std::numeric_limits<std::int64_t>::max(), [&] { ++ticks; });

    pass(std::chrono::hours(24 * 365));

    EXPECT_EQ(ticks, 0);
}

} // namespace
} // namespace telvora
