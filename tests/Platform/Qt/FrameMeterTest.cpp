#include <Telvora/Platform/Qt/FrameMeter.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <vector>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;
using Kind = FrameReport::Kind;
using testing::ElementsAre;

// Frames by a clock that the test moves.
class FrameMeterTest : public testing::Test {
protected:
    // A frame for which the work begins `wait` after the one before, and that takes `time`.
    void frame(Milliseconds time, Milliseconds wait = 0ms)
    {
        now += std::chrono::round<std::chrono::nanoseconds>(wait);
        meter.framePrepared(window, now);
        meter.frameDrawn(window);
        now += std::chrono::round<std::chrono::nanoseconds>(time);
        meter.frameShown(window, now);
    }

    std::vector<Kind> kinds() const
    {
        std::vector<Kind> kinds;
        for (const FrameReport& report : reports)
            kinds.push_back(report.kind);
        return kinds;
    }

    void startPage(const char* name = "Markets")
    {
        meter.pageAppeared(name, now);
        frame(5ms);
        reports.clear();
    }

    FrameMeter::Time now { 100s };
    std::vector<FrameReport> reports;
    FrameMeter meter { FrameLimits(),
        [this](const FrameReport& report) { reports.push_back(report); } };
    FrameMeter::Window window;
};

TEST_F(FrameMeterTest, FramesInTimeAreNotReportedAtSixtyAndAt120Hertz)
{
    for (const double rate : { 60.0, 120.0 }) {
        meter.setInterval(window, Milliseconds(1000 / rate));
        startPage();
        for (int count = 0; count < 1000; ++count)
            frame(Milliseconds(1000 / rate));
        EXPECT_THAT(kinds(), ElementsAre()) << rate;
    }
}

TEST_F(FrameMeterTest, AFrameOfTwoIntervalsIsSlow)
{
    meter.setInterval(window, Milliseconds(1000.0 / 120));
    startPage();
    now += 1s;
    frame(16.7ms, 100ms);

    ASSERT_THAT(kinds(), ElementsAre(Kind::slow));
    EXPECT_NEAR(reports[0].time.count(), 16.7, 0.01);
    EXPECT_NEAR(reports[0].total.count(), 1116.7, 0.01);
    EXPECT_EQ(reports[0].page, "Markets");
}

TEST_F(FrameMeterTest, AFrozenFrameIsNotSlowToo)
{
    startPage();
    frame(701ms);
    frame(700ms);

    EXPECT_THAT(kinds(), ElementsAre(Kind::frozen, Kind::slow));
}

TEST_F(FrameMeterTest, AnIdleWindowHasNoFrames)
{
    startPage();
    frame(10ms, 3600s);

    EXPECT_THAT(kinds(), ElementsAre());
}

TEST_F(FrameMeterTest, WorkThatBeganDuringTheFrameBeforeCountsFromItsEnd)
{
    startPage();
    const auto began = now;
    frame(16ms);
    meter.framePrepared(window, began);
    meter.frameDrawn(window);
    now += 16ms;
    meter.frameShown(window, now);

    EXPECT_THAT(kinds(), ElementsAre());
}

TEST_F(FrameMeterTest, TheFirstFrameOfAPageIsTheOneThatShowsIt)
{
    startPage();
    meter.framePrepared(window, now);
    meter.frameDrawn(window);
    meter.pageAppeared("Trade", now);
    now += 5ms;
    meter.frameShown(window, now);
    EXPECT_THAT(kinds(), ElementsAre());
    frame(10ms);

    ASSERT_THAT(kinds(), ElementsAre(Kind::first));
    EXPECT_EQ(reports[0].page, "Trade");
    EXPECT_NEAR(reports[0].time.count(), 15, 0.01);
}

TEST_F(FrameMeterTest, TheLaunchIsTheFirstFrameOfAll)
{
    frame(5ms);
    meter.pageAppeared("Markets", now);
    frame(5ms);

    EXPECT_THAT(kinds(), ElementsAre(Kind::launch, Kind::first));
}

TEST_F(FrameMeterTest, ALongLaunchIsNoFrozenFrame)
{
    meter.pageAppeared("Markets", now);
    frame(2s);

    EXPECT_THAT(kinds(), ElementsAre(Kind::launch, Kind::first));
}

TEST_F(FrameMeterTest, TimeInTheBackgroundIsNoFrame)
{
    startPage();
    meter.framePrepared(window, now);
    meter.frameDrawn(window);
    meter.interrupt(window);
    now += 10s;
    meter.frameShown(window, now);

    EXPECT_THAT(kinds(), ElementsAre());
}

TEST_F(FrameMeterTest, OfManySlowFramesTenASecondAreReportedAndTheLastCountsTheRest)
{
    startPage();
    for (int count = 0; count < 30; ++count)
        frame(30ms);
    EXPECT_EQ(reports.size(), 9u);
    now += 1s;
    EXPECT_FALSE(meter.reportHeldBack(now));

    ASSERT_EQ(reports.size(), 10u);
    EXPECT_EQ(reports.back().frames, 21);
    EXPECT_FALSE(meter.reportHeldBack(now));
    frame(30ms);
    EXPECT_EQ(reports.size(), 11u);
}

} // namespace
} // namespace telvora::detail
