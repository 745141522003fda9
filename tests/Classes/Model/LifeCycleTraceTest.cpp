#include <tests/Classes/SimulatedHost.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Classes/Model/TrackerDataLifeCycleTrace.h>

#include <gmock/gmock.h>

namespace telvora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Excavator = TrackerDataExcavator;
using Occasion = LifeCycleTraceOccasion;
using State = LifeCycleTraceState;

constexpr auto cameToTop = static_cast<Occasion>(3);
constexpr auto left = static_cast<Occasion>(5);
constexpr auto handled = static_cast<State>(1);

class LifeCycleTraceTest : public SimulatedHost {
protected:
    // Plays an occasion of the scene with that id. There need not be a screen of that id.
    void play(const std::string& sceneName, Occasion occasion, State state = handled)
    {
        const auto adaptor = TrackerDataLifeCycleTrace::create(sceneName);
        adaptor->setScene(simulated().screens().screen(sceneName));
        adaptor->activeActionHandler(occasion, state);
    }

    void showWindow(const std::string& root)
    {
        simulated().screens().make(root);
        simulated().screens().setWindowRoot(root);
    }

    static std::optional<std::string> top() { return Excavator::topViewControllerClassName(); }
};
using LifeCycleTraceQuirk = LifeCycleTraceTest;

TEST_F(LifeCycleTraceTest, SetupRegistersTheAdaptorOnce)
{
    TrackerDataLifeCycleMonitor::setup();
    TrackerDataLifeCycleMonitor::setup();
    TrackerDataLifeCycleMonitor::shared();

    EXPECT_EQ(simulated().lifeCycleChecker().registrationCount(), 1u);
}

TEST_F(LifeCycleTraceTest, TheFrameworkDrivesTheRegisteredAdaptor)
{
    TrackerDataLifeCycleMonitor::setup();
    showWindow("Home");

    simulated().lifeCycleChecker().play("Home", {}, cameToTop, handled);

    EXPECT_EQ(top(), "Home");
}

TEST_F(LifeCycleTraceTest, AnAdaptorIsMadeForItsSceneWithTheRule)
{
    const auto adaptor = TrackerDataLifeCycleTrace::create("Module.Page");

    EXPECT_EQ(adaptor->sceneName(), "Module.Page");
    EXPECT_EQ(adaptor->scene(), nullptr);
    EXPECT_THAT(adaptor->occasionRule().rule().values, ElementsAre(0, 2));
    EXPECT_EQ(adaptor->occasionRule().rule().end, "Tracker_Data_End");
}

TEST_F(LifeCycleTraceTest, SceneAndRuleCanBeReplaced)
{
    const auto adaptor = TrackerDataLifeCycleTrace::create("a");
    simulated().screens().make("Page");

    adaptor->setScene(simulated().screens().screen("Page"));
    adaptor->setOccasionRule(LifeCycleResolveRules({ { 7, 8 }, "end" }));
    adaptor->setSceneName("b");

    EXPECT_EQ(adaptor->scene(), simulated().screens().screen("Page"));
    EXPECT_EQ(adaptor->occasionRule().rule().end, "end");
    EXPECT_EQ(adaptor->sceneName(), "b");
    simulated().screens().release("Page");
    EXPECT_EQ(adaptor->scene(), nullptr);
}

TEST_F(LifeCycleTraceTest, ADriverReadsAndSetsTheAdaptorThroughItsInterface)
{
    TrackerDataLifeCycleMonitor::setup();
    simulated().screens().make("Page");

    const std::unique_ptr<LifeCycleTrace> trace
        = simulated().lifeCycleChecker().create("Module.Page");
    EXPECT_EQ(trace->sceneName(), "Module.Page");
    EXPECT_EQ(trace->scene(), nullptr);
    EXPECT_EQ(trace->occasionRule().rule().end, "Tracker_Data_End");

    trace->setScene(simulated().screens().screen("Page"));
    trace->setOccasionRule(LifeCycleResolveRules({ { 7, 8 }, "end" }));
    EXPECT_EQ(trace->scene(), simulated().screens().screen("Page"));
    EXPECT_THAT(trace->occasionRule().rule().values, ElementsAre(7, 8));
}

TEST_F(LifeCycleTraceTest, TheMonitorNamesTheClassOfItsAdaptors)
{
    TrackerDataLifeCycleMonitor::setup();

    const auto trace = simulated().lifeCycleChecker().create("Module.Page");

    EXPECT_NE(dynamic_cast<TrackerDataLifeCycleMonitor::adaptor*>(trace.get()), nullptr);
}

TEST_F(LifeCycleTraceTest, AScreenIsAPageWithoutParameters)
{
    simulated().screens().make("Page");
    const auto screen = simulated().screens().screen("Page");

    const ViewControllerInfo info = screen->toWrapInfo();

    EXPECT_EQ(info.vc.lock(), screen);
    EXPECT_TRUE(info.params.empty());
}

TEST_F(LifeCycleTraceTest, ASelectorIsTheRawTextOfAnOccasion)
{
    const auto adaptor = TrackerDataLifeCycleTrace::create("a");

    for (std::size_t index = 0; index < lifeCycleTraceOccasionRawValues.size(); ++index)
        EXPECT_EQ(adaptor->selectorResolve(lifeCycleTraceOccasionRawValues[index]),
            static_cast<Occasion>(index));
    EXPECT_EQ(adaptor->selectorResolve(""), std::nullopt);
    EXPECT_EQ(adaptor->selectorResolve("VIEWDIDLOAD"), std::nullopt);
}

TEST_F(LifeCycleTraceTest, OnlyTwoOccasionsInOneStateDoAnything)
{
    showWindow("Home");
    const auto log = listen();
    for (int occasion = 0; occasion < 7; ++occasion) {
        for (int state = 0; state < 3; ++state) {
            const bool acts = state == 1 && (occasion == 3 || occasion == 5);
            log->lines.clear();

            play("Home", static_cast<Occasion>(occasion), static_cast<State>(state));

            EXPECT_EQ(!log->lines.empty(), acts) << occasion << " " << state;
        }
    }
}

TEST_F(LifeCycleTraceTest, AnOccasionOrAStateOutOfRangeHasNoTextAndDoesNothing)
{
    showWindow("Home");
    const auto log = listen();
    for (const int value : { -1, 7, 1'000'000 }) {
        EXPECT_EQ(rawValue(static_cast<Occasion>(value)), "");

        play("Home", static_cast<Occasion>(value));
        play("Home", cameToTop, static_cast<State>(value));
    }

    EXPECT_THAT(log->lines, IsEmpty());
    EXPECT_EQ(top(), std::nullopt);
}

TEST_F(LifeCycleTraceTest, AWhiteListedSceneIsThePageWithoutAWalk)
{
    simulated().screens().make("App.MarginTradeViewController");
    std::vector<std::string> questions;
    simulated().setQuestionObserver(
        [&](const std::string& question) { questions.push_back(question); });

    play("App.MarginTradeViewController", cameToTop);

    EXPECT_EQ(top(), "App.MarginTradeViewController");
    EXPECT_TRUE(Excavator::topViewControllerInfo()->params.empty());
    EXPECT_THAT(questions, IsEmpty());
}

TEST_F(LifeCycleTraceTest, AWhiteListedSceneThatIsDestroyedLeavesThePageToTheWalk)
{
    showWindow("Home");

    play("App.TradeViewController", cameToTop);

    EXPECT_EQ(top(), "Home");
}

TEST_F(LifeCycleTraceTest, ASceneThatIsNotWhiteListedLeavesThePageToTheWalk)
{
    simulated().screens().make("App.Other");
    showWindow("Home");

    play("App.Other", cameToTop);

    EXPECT_EQ(top(), "Home");
}

TEST_F(LifeCycleTraceTest, TheWhiteListUsesTheSceneNameAndTheReportTheClassName)
{
    simulated().screens().make("App.TradeViewController");
    simulated().screens().setClassName("App.TradeViewController", "TradeViewController");

    play("App.TradeViewController", cameToTop);

    EXPECT_EQ(top(), "TradeViewController");
}

TEST_F(LifeCycleTraceTest, TheHostsWhiteListReplacesTheDefault)
{
    showWindow("Home");
    simulated().screens().make("App.Mine");
    simulated().screens().make("App.TradeViewController");
    manager().updateTracker({ ".Mine" });

    play("App.Mine", cameToTop);
    EXPECT_EQ(top(), "App.Mine");
    play("App.TradeViewController", cameToTop);
    EXPECT_EQ(top(), "Home");

    manager().updateTracker({});
    play("App.Mine", cameToTop);
    EXPECT_EQ(top(), "Home");
}

TEST_F(LifeCycleTraceTest, AnEmptyEntryOfTheWhiteListMatchesEveryScene)
{
    showWindow("Home");
    simulated().screens().make("App.Any");
    manager().updateTracker({ "" });

    play("App.Any", cameToTop);

    EXPECT_EQ(top(), "App.Any");
}

TEST_F(LifeCycleTraceTest, WithoutAWindowThePageIsCleared)
{
    showPage("Old");

    play("Other", cameToTop);

    EXPECT_FALSE(Excavator::topViewControllerInfo());
}

TEST_F(LifeCycleTraceTest, ANewPageHasNoParametersOfTheOld)
{
    showPage("Old", { { "a", "1" } });
    showWindow("Home");

    play("Home", cameToTop);

    EXPECT_TRUE(Excavator::topViewControllerInfo()->params.empty());
}

TEST_F(LifeCycleTraceTest, ThePageOnTopIsHeldWeakly)
{
    showWindow("Home");
    play("Home", cameToTop);

    simulated().screens().release("Home");

    EXPECT_EQ(top(), std::nullopt);
    EXPECT_TRUE(Excavator::topViewControllerInfo());
}

TEST_F(LifeCycleTraceTest, LogLinesNameThePages)
{
    showWindow("Home");
    const auto log = listen();

    play("Home", left);
    play("Home", cameToTop);
    play("Home", left);
    simulated().screens().release("Home");
    play("Home", left);

    EXPECT_THAT(log->lines,
        ElementsAre("[TrackerData] unknown disappear",
            "[TrackerTransition] ViewController Transitioning Start",
            "[TrackerData] Top ViewController jump to => Home", "[TrackerData] Home disappear",
            "[TrackerTransition] ViewController Transitioning Start",
            "[TrackerData] unknown disappear",
            "[TrackerTransition] ViewController Transitioning Start"));
}

TEST_F(LifeCycleTraceTest, AJumpWithoutAPageIsLoggedAsUnknown)
{
    const auto log = listen();

    play("Other", cameToTop);

    EXPECT_THAT(log->lines, ElementsAre("[TrackerData] Top ViewController jump to => unknown"));
}

TEST_F(LifeCycleTraceTest, AScreenThatThrowsEndsTheWalkWithoutAPage)
{
    class Throwing final : public UIWindow {
        std::shared_ptr<UIViewController> rootViewController() const override
        {
            throw std::runtime_error("no window");
        }
    };
    const auto exceptions = hostExceptionCount();

    EXPECT_FALSE(Throwing().topViewController_monitorTracker());
    EXPECT_EQ(hostExceptionCount(), exceptions + 1);
}

TEST_F(LifeCycleTraceQuirk, TheSwitchOfTheHostChangesNothing)
{
    for (const bool isEnabled : { false, true }) {
        TrackerDataLifeCycleMonitor::setIsEnabled(isEnabled);
        EXPECT_EQ(TrackerDataLifeCycleMonitor::isEnabled(), isEnabled);
        Excavator::setTopViewControllerInfo(std::nullopt);
        showWindow("Home");
        play("Home", cameToTop);
        EXPECT_EQ(top(), "Home");
    }
}

} // namespace
} // namespace telvora
