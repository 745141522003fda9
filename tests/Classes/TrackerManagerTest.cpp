#include <tests/Classes/SimulatedHost.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>

#include <regex>
#include <stdexcept>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class TrackerManagerTest : public SimulatedHost {
protected:
    // A channel whose hooks record their names.
    std::shared_ptr<TrackerConfig> addHookedChannel(const std::string& index)
    {
        auto config = addChannel(index, 10);
        config->setStartHook([this, index] { called.push_back("start " + index); });
        config->setStopHook([this, index] { called.push_back("stop " + index); });
        config->setRestartHook([this, index] { called.push_back("restart " + index); });
        return config;
    }

    std::vector<std::string> called;
};

using TrackerManagerQuirk = TrackerManagerTest;
using TrackerManagerDeathTest = TrackerManagerTest;

TEST_F(TrackerManagerTest, SessionIdIsAnUpperCaseUUIDThatNeverChanges)
{
    const std::string first = manager().sessionId();

    EXPECT_TRUE(std::regex_match(
        first, std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")));
    TrackerManager::start();
    EXPECT_EQ(manager().sessionId(), first);
}

TEST_F(TrackerManagerTest, UUIDIsAbsentUntilTheHostInstallsAClosure)
{
    EXPECT_FALSE(TrackerManager::uuid());

    manager().setQvxUuid([] { return std::optional<std::string>("device-1"); });

    EXPECT_EQ(TrackerManager::uuid(), "device-1");
}

TEST_F(TrackerManagerTest, UUIDCallsTheClosureEachTime)
{
    int asked = 0;
    manager().setQvxUuid([&]() -> std::optional<std::string> {
        if (++asked == 2)
            return std::nullopt;
        return std::to_string(asked);
    });

    EXPECT_EQ(TrackerManager::uuid(), "1");
    EXPECT_FALSE(TrackerManager::uuid());
    EXPECT_EQ(TrackerManager::uuid(), "3");
}

TEST_F(TrackerManagerTest, UUIDIsAbsentWhenTheClosureThrows)
{
    manager().setQvxUuid([]() -> std::optional<std::string> { throw std::runtime_error("no"); });

    EXPECT_FALSE(TrackerManager::uuid());
    EXPECT_EQ(hostExceptionCount(), 1);
}

TEST_F(TrackerManagerDeathTest, RegisteringAnIndexTwiceStopsTheProcess)
{
    addChannel("APM", 3);

    EXPECT_DEATH(addChannel("APM", 5),
        "TrackerManager: There are 2 same configs - index `APM`.*TrackerManager");
}

TEST_F(TrackerManagerTest, StartWithoutChannelsTicksAndSendsNothing)
{
    TrackerManager::start();
    simulated().advance(180s);

    EXPECT_TRUE(manager().trackerTimer().isRunning());
    EXPECT_EQ(requestCount(), 0u);
}

TEST_F(TrackerManagerTest, StartLogsThatItStarts)
{
    class Service final : public LogService {
    public:
        void loggerInit() override { }
        void log(unsigned level, const std::string& message) override
        {
            lines.push_back(std::to_string(level) + " " + message);
        }
        std::vector<std::string> lines;
    };
    const auto service = std::make_shared<Service>();
    QuorvexLog::setLogService(service);
    QuorvexLog::configLogger();

    TrackerManager::start();

    EXPECT_EQ(
        service->lines, (std::vector<std::string> { "3 [Tracker Manager] Tracker Manager Start" }));
}

TEST_F(TrackerManagerTest, ASecondStartCallsNoStartHookAgain)
{
    addHookedChannel("APM");
    addHookedChannel("MP");

    TrackerManager::start();
    TrackerManager::start();

    EXPECT_EQ(called, (std::vector<std::string> { "start APM", "start MP" }));
}

TEST_F(TrackerManagerQuirk, AChannelWithoutStartHookIsNotMarkedAsRunningByStart)
{
    const auto config = addChannel("APM", 10);
    TrackerManager::start();

    // The hook would not be called if the channel were running.
    config->setStartHook([this] { called.push_back("start"); });
    TrackerManager::start();

    EXPECT_EQ(called, (std::vector<std::string> { "start" }));
}

TEST_F(TrackerManagerTest, AStartHookOfAChannelRegisteredAfterStartIsCalledByTheNextStart)
{
    answerAll(success());
    TrackerManager::start();
    addHookedChannel("APM");
    append("APM", 1);

    simulated().advance(60s);
    EXPECT_TRUE(called.empty());
    EXPECT_EQ(requestCount(), 1u);

    TrackerManager::start();
    EXPECT_EQ(called, (std::vector<std::string> { "start APM" }));
}

TEST_F(TrackerManagerTest, StopCallsTheStopHooksAndLetsTheNextStartCallTheStartHooksAgain)
{
    addHookedChannel("APM");
    TrackerManager::start();

    TrackerManager::stop();
    TrackerManager::start();

    EXPECT_EQ(called, (std::vector<std::string> { "start APM", "stop APM", "start APM" }));
}

TEST_F(TrackerManagerQuirk, StopLeavesTheTimerRunningAndFlushesNothing)
{
    answerAll(success());
    addChannel("APM", 10);
    TrackerManager::start();
    append("APM", 1);

    TrackerManager::stop();
    simulated().runUntilIdle();
    EXPECT_EQ(requestCount(), 0u);

    simulated().advance(60s);
    EXPECT_EQ(requestCount(), 1u);
}

TEST_F(TrackerManagerTest, StopEndsTheObservingOfNotifications)
{
    addHookedChannel("APM");
    TrackerManager::start();
    TrackerManager::stop();
    called.clear();

    enterBackground();
    enterForeground();

    EXPECT_TRUE(called.empty());
    EXPECT_TRUE(manager().trackerTimer().isRunning());
}

TEST_F(TrackerManagerTest, TheBackgroundStopsTheTimerCallsTheHooksAndFlushesEachChannelOnce)
{
    answerAll(success());
    addHookedChannel("APM");
    addHookedChannel("MP");
    TrackerManager::start();
    append("APM", 1, 2);
    append("MP", 7);
    called.clear();

    enterBackground();

    EXPECT_EQ(called, (std::vector<std::string> { "stop APM", "stop MP" }));
    EXPECT_FALSE(manager().trackerTimer().isRunning());
    ASSERT_EQ(requestCount(), 2u);
    EXPECT_EQ(numbersIn(0), (std::vector<std::int64_t> { 1, 2 }));
    EXPECT_EQ(numbersIn(1), (std::vector<std::int64_t> { 7 }));
}

TEST_F(TrackerManagerTest, NothingTicksInTheBackground)
{
    addChannel("APM", 10);
    TrackerManager::start();
    enterBackground();
    append("APM", 1);

    simulated().advance(600s);

    EXPECT_EQ(requestCount(), 0u);
}

TEST_F(TrackerManagerTest, TheReturnToTheForegroundResumesTheTimerAndFlushesNothing)
{
    answerAll(success());
    addHookedChannel("APM");
    TrackerManager::start();
    simulated().advance(10s);
    enterBackground();
    append("APM", 1);
    called.clear();

    enterForeground();

    EXPECT_EQ(called, (std::vector<std::string> { "restart APM" }));
    EXPECT_TRUE(manager().trackerTimer().isRunning());
    EXPECT_EQ(requestCount(), 0u);
    simulated().advance(50s);
    EXPECT_EQ(requestCount(), 1u);
}

TEST_F(TrackerManagerTest, TheReturnToTheForegroundMarksEveryChannelAsRunning)
{
    const auto config = addChannel("APM", 10);
    TrackerManager::start();
    enterForeground();

    config->setStartHook([this] { called.push_back("start"); });
    TrackerManager::start();

    EXPECT_TRUE(called.empty());
}

TEST_F(TrackerManagerQuirk, ASecondStartObservesEachNotificationTwice)
{
    addHookedChannel("APM");
    TrackerManager::start();
    TrackerManager::start();
    called.clear();

    enterBackground();
    EXPECT_EQ(called, (std::vector<std::string> { "stop APM", "stop APM" }));

    TrackerManager::stop();
    called.clear();
    enterForeground();
    EXPECT_TRUE(called.empty());
}

TEST_F(TrackerManagerTest, CommonDataOfAnUnknownChannelIsIgnored)
{
    manager().setupCommonDatas({ { "os", "x" } }, "data", "APM");

    const auto config = addChannel("APM", 10);

    EXPECT_TRUE(config->commonData()->commonDatas.empty());
    EXPECT_EQ(config->commonData()->dataListKey, "data-list");
}

TEST_F(TrackerManagerTest, CommonDataReplaceAllEarlierOnes)
{
    const auto config = addChannel("APM", 10);
    manager().setupCommonDatas({ { "os", "x" }, { "app", "y" } }, "data", "APM");

    manager().setupCommonDatas({ { "os", "z" } }, "list", "APM");

    EXPECT_EQ(config->commonData()->commonDatas, (Dictionary { { "os", "z" } }));
    EXPECT_EQ(config->commonData()->dataListKey, "list");
}

TEST_F(TrackerManagerTest, HooksThatThrowAreCountedAndTheOthersAreCalled)
{
    const auto config = addHookedChannel("APM");
    config->setStartHook([] { throw std::runtime_error("start"); });
    addHookedChannel("MP");

    TrackerManager::start();

    EXPECT_EQ(called, (std::vector<std::string> { "start MP" }));
    EXPECT_EQ(hostExceptionCount(), 1);
}

TEST_F(TrackerManagerTest, EmptyHooksAreSkipped)
{
    const auto config = addChannel("APM", 10);
    config->setStartHook({});
    config->setStopHook({});
    config->setRestartHook({});

    TrackerManager::start();
    enterBackground();
    enterForeground();

    EXPECT_EQ(hostExceptionCount(), 0);
}

TEST_F(TrackerManagerTest, WithoutReachabilityStartDoesTheRest)
{
    simulated().reachability().setConnection(ScriptedReachability::Value::unavailable);
    addHookedChannel("APM");

    TrackerManager::start();

    EXPECT_EQ(called, (std::vector<std::string> { "start APM" }));
    EXPECT_TRUE(manager().trackerTimer().isRunning());
}

TEST_F(TrackerManagerTest, ANotifierThatCannotStartDoesNotStopStart)
{
    simulated().reachability().setNotifierFails(true);
    addHookedChannel("APM");

    TrackerManager::start();

    EXPECT_EQ(called, (std::vector<std::string> { "start APM" }));
}

} // namespace
} // namespace telvora
