#include <Telvora/Classes/Model/TrackerDataExcavator.h>

#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <gmock/gmock.h>

#include <chrono>
#include <limits>

namespace telvora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Excavator = TrackerDataExcavator;
using namespace std::chrono_literals;

class TrackerDataExcavatorTest : public testing::Test {
protected:
    TrackerDataExcavatorTest() { installPlatform(simulated.services()); }

    void changeDevice(const std::function<void(ScriptedDevice::Values&)>& change)
    {
        auto values = simulated.device().values();
        change(values);
        simulated.device().setValues(values);
    }

    void watchQuestions()
    {
        simulated.setQuestionObserver(
            [this](const std::string& question) { questions.push_back(question); });
    }

    SimulatedPlatform& simulated = *new SimulatedPlatform;
    std::vector<std::string> questions;
};
using TrackerDataExcavatorDeathTest = TrackerDataExcavatorTest;
using TrackerDataExcavatorQuirk = TrackerDataExcavatorTest;

TEST_F(TrackerDataExcavatorTest, ADeviceIsDescribed)
{
    EXPECT_EQ(Excavator::mobileName(), "iPhone 12");
    EXPECT_EQ(Excavator::modelName(), "iPhone 12");
    EXPECT_EQ(Excavator::systemVersion(), "15.0");
    EXPECT_EQ(Excavator::appVersion(), "1.0.0");
    EXPECT_EQ(Excavator::screenPpi(), 460);
    EXPECT_EQ(Excavator::cpuCount(), 6);
}

TEST_F(TrackerDataExcavatorTest, AScreenIsMeasuredInPointsAndInPixels)
{
    EXPECT_EQ(Excavator::screenSize(), "390.0*844.0");
    EXPECT_EQ(Excavator::screenResolution(), "1170.0*2532.0");
}

TEST_F(TrackerDataExcavatorTest, AScreensSizeKeepsItsFractions)
{
    changeDevice([](auto& device) {
        device.screenBounds = { 5, 6, 375.5, 100'000 };
        device.screenScale = 2.5;
    });

    EXPECT_EQ(Excavator::screenSize(), "375.5*100000.0");
    EXPECT_EQ(Excavator::screenResolution(), "938.75*250000.0");
}

TEST_F(TrackerDataExcavatorTest, WithoutAScreenTheSizeIsZero)
{
    changeDevice([](auto& device) { device.screenBounds = {}; });

    EXPECT_EQ(Excavator::screenSize(), "0.0*0.0");
    EXPECT_EQ(Excavator::screenResolution(), "0.0*0.0");
}

TEST_F(TrackerDataExcavatorTest, SizeAndResolutionAgreeWhenTheScreenIsRotated)
{
    EXPECT_EQ(Excavator::screenSize(), "390.0*844.0");
    changeDevice([](auto& device) { device.screenBounds = { 0, 0, 844, 390 }; });

    EXPECT_EQ(Excavator::screenResolution(), "1170.0*2532.0");
}

TEST_F(TrackerDataExcavatorTest, AModelThatIsNotKnownHasADensityOfMinusOne)
{
    changeDevice([](auto& device) { device.ppi = std::nullopt; });

    EXPECT_EQ(Excavator::screenPpi(), -1);
}

TEST_F(TrackerDataExcavatorTest, AVersionThatTheBundleLacksIsAbsent)
{
    simulated.bundle().setInfoDictionary({});

    EXPECT_EQ(Excavator::appVersion(), std::nullopt);
}

TEST_F(TrackerDataExcavatorTest, AVersionThatIsNoTextIsAbsent)
{
    simulated.bundle().setInfoDictionary({ { "CFBundleShortVersionString", 1.5 } });

    EXPECT_EQ(Excavator::appVersion(), std::nullopt);
}

TEST_F(TrackerDataExcavatorTest, InitialReadsAllValuesInOrder)
{
    simulated.fileManager().setExisting({ "/bin/bash" });
    watchQuestions();

    Excavator::initial();

    EXPECT_THAT(questions,
        ElementsAre("safeDescription", "systemVersion", "infoDictionary:CFBundleShortVersionString",
            "safeDescription", "screenBounds", "screenScale", "ppi", "carriers"));
}

TEST_F(TrackerDataExcavatorTest, ASecondInitialReadsNothing)
{
    Excavator::initial();
    simulated.advance(5s);
    watchQuestions();

    Excavator::initial();
    EXPECT_EQ(Excavator::screenSize(), "390.0*844.0");

    EXPECT_THAT(questions, IsEmpty());
    EXPECT_EQ(Excavator::startTimestamp(), ManualClock::firstSecondsSince1970);
}

TEST_F(TrackerDataExcavatorTest, AValueIsComputedByItsFirstReaderAndKept)
{
    watchQuestions();
    EXPECT_THAT(questions, IsEmpty());
    Excavator::mobileName();
    changeDevice([](auto& device) { device.safeDescription = "another"; });

    EXPECT_EQ(Excavator::mobileName(), "iPhone 12");
    EXPECT_EQ(Excavator::modelName(), "another");
    EXPECT_THAT(questions, ElementsAre("safeDescription", "safeDescription"));
}

TEST_F(TrackerDataExcavatorTest, AValueThatTheHostSetsIsReturned)
{
    Excavator::initial();

    Excavator::setMobileName("a");
    Excavator::setModelName(std::nullopt);
    Excavator::setSystemVersion("b");
    Excavator::setAppVersion("c");
    Excavator::setScreenResolution("d");
    Excavator::setScreenPpi(1);
    Excavator::setScreenSize("e");
    Excavator::setJailbreaked(true);
    Excavator::setMobileOperator("f");
    Excavator::setStartTimestamp(2.5);
    Excavator::initial();

    EXPECT_EQ(Excavator::mobileName(), "a");
    EXPECT_EQ(Excavator::modelName(), std::nullopt);
    EXPECT_EQ(Excavator::systemVersion(), "b");
    EXPECT_EQ(Excavator::appVersion(), "c");
    EXPECT_EQ(Excavator::screenResolution(), "d");
    EXPECT_EQ(Excavator::screenPpi(), 1);
    EXPECT_EQ(Excavator::screenSize(), "e");
    EXPECT_TRUE(Excavator::jailbreaked());
    EXPECT_EQ(Excavator::mobileOperator(), "f");
    EXPECT_EQ(Excavator::startTimestamp(), 2.5);
}

TEST_F(TrackerDataExcavatorTest, TheStartIsTheTimeOfTheFirstReadingWithFraction)
{
    simulated.setWallTime(1700000000.75);
    EXPECT_EQ(Excavator::startTimestamp(), 1700000000.75);
    simulated.advance(1s);

    EXPECT_EQ(Excavator::startTimestamp(), 1700000000.75);
}

TEST_F(TrackerDataExcavatorTest, TheTimestampMovesInWholeSeconds)
{
    simulated.setWallTime(1700000000.75);
    EXPECT_EQ(Excavator::timestamp(), 1700000000);
    simulated.advance(1s);
    EXPECT_EQ(Excavator::timestamp(), 1700000001);
}

TEST_F(TrackerDataExcavatorTest, ATimestampOfUpTo64BitsIsCutTowardsZero)
{
    const std::vector<std::pair<double, std::int64_t>> table {
        { -1.75, -1 },
        { -0.5, 0 },
        { 0x1.fffffffffffffp62, 9223372036854774784 },
        { -0x1p63, std::numeric_limits<std::int64_t>::min() },
    };
    for (const auto& [now, timestamp] : table) {
        simulated.setWallTime(now);
        EXPECT_EQ(Excavator::timestamp(), timestamp);
    }
}

TEST_F(TrackerDataExcavatorDeathTest, AClockBeyond64BitsStopsTheProcess)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double now : { std::numeric_limits<double>::quiet_NaN(), infinity, -infinity, 0x1p63,
             -0x1.0000000000001p63 }) {
        simulated.setWallTime(now);
        EXPECT_EXIT(
            Excavator::timestamp(), testing::KilledBySignal(SIGABRT), "TrackerDataExcavator");
    }
}

TEST_F(TrackerDataExcavatorTest, TheProcessorsAreCountedEachTime)
{
    EXPECT_EQ(Excavator::cpuCount(), 6);
    changeDevice([](auto& device) { device.activeProcessorCount = 2; });

    EXPECT_EQ(Excavator::cpuCount(), 2);
}

TEST_F(TrackerDataExcavatorTest, TheNetworkIsReadEachTimeWithANewObject)
{
    using Reached = ScriptedReachability::Value;
    const std::vector<std::pair<Reached, std::optional<std::string>>> table {
        { Reached::wifi, "WiFi" },
        { Reached::cellular, "Cellular" },
        { Reached::none, "No Connection" },
        { Reached::unavailable, std::nullopt },
    };
    watchQuestions();
    for (const auto& [connection, word] : table) {
        simulated.reachability().setConnection(connection);
        EXPECT_EQ(Excavator::networkStatus(), word);
    }
    EXPECT_EQ(std::count(questions.begin(), questions.end(), "reachabilityInit"), 4);
}

TEST_F(TrackerDataExcavatorTest, TheSharedInstanceIsOne)
{
    EXPECT_EQ(&Excavator::one(), &Excavator::one());
}

TEST_F(TrackerDataExcavatorTest, AParameterIsAddedToThePageOnTop)
{
    Excavator::setTopViewControllerInfo(ViewControllerInfo { {}, { { "a", "1" } } });

    Excavator::addViewControllerInfo("b", "2");
    Excavator::addViewControllerInfo("a", "3");

    EXPECT_EQ(Excavator::topViewControllerInfo()->params,
        (StringDictionary { { "a", "3" }, { "b", "2" } }));
}

TEST_F(TrackerDataExcavatorTest, WithoutAPageAParameterIsIgnored)
{
    Excavator::addViewControllerInfo("a", "1");

    EXPECT_FALSE(Excavator::topViewControllerInfo());
}

TEST_F(TrackerDataExcavatorTest, ThereIsNoPageAndNoTransitionAtFirst)
{
    EXPECT_FALSE(Excavator::topViewControllerInfo());
    EXPECT_EQ(Excavator::topViewControllerClassName(), std::nullopt);
    EXPECT_FALSE(Excavator::isTransitioning());
    EXPECT_FALSE(Excavator::isTransitioningControl());
}

TEST_F(TrackerDataExcavatorTest, TheWhiteListIsReplacedWhole)
{
    EXPECT_EQ(Excavator::monitorViewControllerWhiteList().size(), 16u);

    Excavator::setMonitorViewControllerWhiteList({ ".Mine" });
    EXPECT_THAT(Excavator::monitorViewControllerWhiteList(), ElementsAre(".Mine"));

    Excavator::setMonitorViewControllerWhiteList({});
    EXPECT_THAT(Excavator::monitorViewControllerWhiteList(), IsEmpty());
}

TEST_F(TrackerDataExcavatorQuirk, TheWhiteListHoldsTradeViewControllerTwice)
{
    EXPECT_THAT(Excavator::monitorViewControllerWhiteList(),
        ElementsAre(".TradeViewController", ".QuarterlyMarketsViewController",
            ".PerpetualMarketViewController", ".QuarterlyMarketViewController",
            ".FeatureTradeViewController", ".OptionsTradeViewController", ".TradeViewController",
            ".HorizontalTradeViewController", ".MarginTradeViewController",
            ".MarginHorizontalTradeViewController", ".FuturesFavoriteMarketsViewController",
            ".MarketsViewController", ".MarketsZonesConceptController",
            ".CoinsMarketsViewController", ".GridTradeViewController",
            ".FuturesGridTradeViewController"));
}

} // namespace
} // namespace telvora
