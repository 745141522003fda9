#include <tests/Classes/SimulatedHost.h>

#include <Telvora/Classes/Model/TrackerDataLifeCycleTrace.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <random>

namespace telvora {
namespace {

using testing::ElementsAre;
using Excavator = TrackerDataExcavator;
using namespace std::chrono_literals;

class TransitionTest : public SimulatedHost {
protected:
    void cameToTop() { play(3); }
    void left() { play(5); }

    void play(int occasion)
    {
        const auto adaptor = TrackerDataLifeCycleTrace::create("App.Page");
        adaptor->activeActionHandler(
            static_cast<LifeCycleTraceOccasion>(occasion), static_cast<LifeCycleTraceState>(1));
    }

    // How many lines end with this text.
    static std::ptrdiff_t countOf(RecordingLogService& log, const std::string& end)
    {
        return std::count_if(log.lines.begin(), log.lines.end(),
            [&](const std::string& line) { return line.ends_with(end); });
    }

    static void expectFlags(bool isTransitioning, bool control)
    {
        EXPECT_EQ(Excavator::isTransitioning(), isTransitioning);
        EXPECT_EQ(Excavator::isTransitioningControl(), control);
    }
};
using TransitionQuirk = TransitionTest;

TEST_F(TransitionTest, OpensWhenAPageDisappears)
{
    left();
    expectFlags(true, true);
    simulated().advance(1h);
    expectFlags(true, true);
}

TEST_F(TransitionTest, ClosesTwoSecondsAfterTheNextPageCameToTheTop)
{
    left();
    cameToTop();
    expectFlags(true, false);

    simulated().advance(2s - 1ns);
    expectFlags(true, false);
    simulated().advance(1ns);
    expectFlags(false, false);
}

TEST_F(TransitionTest, AnotherPageWithinTheTwoSecondsSchedulesNoSecondClose)
{
    const auto log = listen();
    left();
    cameToTop();
    simulated().advance(1s);
    cameToTop();

    simulated().advance(10s);

    EXPECT_EQ(countOf(*log, "Transitioning End"), 1);
}

TEST_F(TransitionTest, WithoutAStartNothingCloses)
{
    const auto log = listen();

    cameToTop();
    simulated().advance(10s);

    EXPECT_EQ(countOf(*log, "Transitioning End"), 0);
    expectFlags(false, false);
}

TEST_F(TransitionTest, TwoPagesThatDisappearLogTwoStartsAndSetTheFlagsOnce)
{
    const auto log = listen();
    left();
    Excavator::setIsTransitioningControl(false);

    left();

    EXPECT_EQ(countOf(*log, "Transitioning Start"), 2);
    expectFlags(true, false);
}

TEST_F(TransitionTest, TheCloseIsLoggedAsATransition)
{
    const auto log = listen();
    left();
    cameToTop();
    log->lines.clear();

    simulated().advance(2s);

    EXPECT_THAT(log->lines, ElementsAre("[TrackerTransition] ViewController Transitioning End"));
}

TEST_F(TransitionTest, AnFPSReportSaysWhetherATransitionIsOpen)
{
    watchEvents();
    const auto fpt = [&] {
        seen.clear();
        manager().reportAPMDict({ { "t", "FPS" } });
        return onlyEvent().event.at("fpt").as_int64();
    };

    EXPECT_EQ(fpt(), 0);
    left();
    EXPECT_EQ(fpt(), 1);
    cameToTop();
    EXPECT_EQ(fpt(), 1);
    simulated().advance(2s);
    EXPECT_EQ(fpt(), 0);
}

TEST_F(TransitionQuirk, APageThatDisappearsWhileTheCloseIsDueIsClosedWithTheOldChange)
{
    left();
    cameToTop();
    simulated().advance(1s);
    // The change is still open: it is not opened again, so no second close is scheduled.
    left();
    expectFlags(true, false);

    simulated().advance(1s);
    expectFlags(false, false);
}

TEST_F(TransitionQuirk, AFlagThatOnlyTheHostSetsNeverCloses)
{
    Excavator::setIsTransitioning(true);

    cameToTop();
    simulated().advance(10s);
    expectFlags(true, false);

    Excavator::setIsTransitioning(false);
    Excavator::setIsTransitioningControl(true);
    cameToTop();
    simulated().advance(10s);
    expectFlags(false, true);
}

// A model of the state machine: two flags and the times at which a close is due.
struct TransitionModel {
    bool isTransitioning = false;
    bool control = false;
    std::chrono::milliseconds now { 0 };
    std::vector<std::chrono::milliseconds> closes;
    int starts = 0;
    int ends = 0;

    void left()
    {
        ++starts;
        if (!isTransitioning)
            isTransitioning = control = true;
    }

    void cameToTop()
    {
        if (isTransitioning && control) {
            control = false;
            closes.push_back(now + 2000ms);
        }
    }

    void advance(std::chrono::milliseconds step)
    {
        now += step;
        const auto isDue = [this](auto instant) { return instant <= now; };
        const auto due = std::count_if(closes.begin(), closes.end(), isDue);
        if (due > 0)
            isTransitioning = false;
        ends += static_cast<int>(due);
        closes.erase(std::remove_if(closes.begin(), closes.end(), isDue), closes.end());
    }
};

TEST_F(TransitionTest, AgreesWithTheModelOnRandomSequences)
{
    const auto log = listen();
    TransitionModel model;
    std::mt19937_64 random(1);
    for (int round = 0; round < 5'000; ++round) {
        switch (random() % 8) {
        case 0:
        case 1:
            left();
            model.left();
            break;
        case 2:
        case 3:
            cameToTop();
            model.cameToTop();
            break;
        case 4:
            model.isTransitioning = random() % 2 == 0;
            Excavator::setIsTransitioning(model.isTransitioning);
            break;
        case 5:
            model.control = random() % 2 == 0;
            Excavator::setIsTransitioningControl(model.control);
            break;
        default:
            const std::chrono::milliseconds step(random() % 8 * 250);
            simulated().advance(step);
            model.advance(step);
        }
        ASSERT_EQ(Excavator::isTransitioning(), model.isTransitioning) << round;
        ASSERT_EQ(Excavator::isTransitioningControl(), model.control) << round;
    }
    EXPECT_EQ(countOf(*log, "Transitioning Start"), model.starts);
    EXPECT_EQ(countOf(*log, "Transitioning End"), model.ends);
}

} // namespace
} // namespace telvora
