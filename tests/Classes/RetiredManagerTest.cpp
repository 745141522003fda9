#include <Telvora/Classes/Utils/TrackerNetwork.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <Telvora/Telvora.h>
#include <tests/Classes/Recorders.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace telvora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// Each closure that the host installs has a copy of this, so that its count says how many there
// are.
using Token = std::shared_ptr<int>;

class RetiredManagerTest : public testing::Test {
protected:
    RetiredManagerTest() { install(); }

    // Takes the installed platform down, if there is one, and installs another one.
    void install()
    {
        simulated.reset();
        simulated = std::make_unique<SimulatedPlatform>();
        installPlatform(simulated->services());
    }

    static std::shared_ptr<TrackerConfig> channel(
        const std::string& index, TrackerConfig::URLHook url = [] { return "http://a/"; })
    {
        return std::make_shared<TrackerConfig>(
            index, 1000, StringDictionary(), Array(), false, std::move(url));
    }

    TrackerManager& managerWithChannels()
    {
        TrackerManager& manager = TrackerManager::shared();
        m_late = channel("late");
        for (const char* index : { "APM", "MP", "E2E", "Sentry" })
            manager.register_(channel(index));
        TrackerManager::start();
        return manager;
    }

    // Every call that hands over or changes something.
    void callEverything(TrackerManager& manager)
    {
        const Dictionary event { { "name", "x" } };
        manager.setQvxUuid([] { return std::optional<std::string>("late"); });
        manager.setMode(TrackerMode::debug);
        manager.setupOstra(std::make_shared<RecordingProvider>());
        manager.register_(m_late);
        manager.setupCommonDatas(event, "list", "MP");
        manager.appendTracker(event, "MP");
        manager.appendTracker(Dictionary(event), "nowhere");
        manager.timerEventHandler(m_late);
        manager.reportAPMDict(event);
        manager.wrapAppendTracker(event);
        manager.enrollSlowFrameTrack(1, 2, "Page");
        manager.enrollFrozenFrameTrack(1, 2, "Page");
        manager.enrollPageViewTrack("Page");
        manager.enrollSkarnTrack("stack", "cpu");
        manager.enrollFirstFrameTrack(1, "Page");
        manager.enrollLCPTrack(1, 2, 3, 4, 5, 6, "Page");
        manager.enrollLaunchTrack({ { "d", 1.0 } });
        manager.enrollSlowFrameTrack(SlowFrame { .slow = 1s });
        manager.enrollFrozenFrameTrack(FrozenFrame { .frozen = 1s });
        manager.enrollFirstFrameTrack(FirstFrame { .time = 1s });
        manager.enrollLCPTrack(LCP { .total = 1s });
        manager.enrollLaunchTrack(Launch { .ct = 1s });
        manager.enrollE2ETrack(event);
        manager.enrollMPTrack(event);
        manager.enrollSentryTrack(event, true);
        manager.enrollE2ETrack(EventBuilder(event));
        manager.setupCommonE2EDatas();
        manager.setupCommonMPDatas();
        manager.setupCommonSentryDatas(true, false);
        manager.setupCommonSentryDatas(false, false);
        manager.setupCommonVendelDatas();
        manager.updateTracker({ ".LateController" });
        manager.networkStatus().onStatusChange([](TrackNetworkStatus) { FAIL(); });
    }

    std::unique_ptr<SimulatedPlatform> simulated;

private:
    // Made while a platform is installed, since a channel needs one.
    std::shared_ptr<TrackerConfig> m_late;
};

using RetiredManagerDeathTest = RetiredManagerTest;

TEST_F(RetiredManagerTest, SharedMakesAnotherOneAndTheOldOneStays)
{
    TrackerManager& old = TrackerManager::shared();
    const std::string session = old.sessionId();

    install();

    EXPECT_NE(&TrackerManager::shared(), &old);
    EXPECT_EQ(old.sessionId(), session);
}

TEST_F(RetiredManagerTest, AnswersAreNeutral)
{
    TrackerManager& old = managerWithChannels();
    old.appendTracker({ { "name", "x" } }, "MP");

    install();
    callEverything(old);

    EXPECT_EQ(old.config("MP"), nullptr);
    EXPECT_EQ(old.config("late"), nullptr);
    EXPECT_EQ(old.ledger("MP"), std::nullopt);
    EXPECT_THAT(old.ledgers(), IsEmpty());
    EXPECT_THAT(old.ledgersDictionary(), IsEmpty());
    EXPECT_EQ(old.diagnosis(), "");
    EXPECT_EQ(old.getCurrentNetWorkStatus(), "unknown");
    EXPECT_THAT(old.getCommonE2EDatas(), IsEmpty());
    EXPECT_FALSE(old.trackerTimer().isRunning());
}

TEST_F(RetiredManagerTest, CallsTouchNothingOfTheNextPlatform)
{
    TrackerManager& old = managerWithChannels();
    install();
    TrackerManager& manager = TrackerManager::shared();
    manager.register_(channel("MP"));
    const std::string before = manager.diagnosis();
    std::vector<std::string> asked;
    simulated->setQuestionObserver([&](const std::string& question) { asked.push_back(question); });

    callEverything(old);
    simulated->advance(3600s);

    EXPECT_THAT(asked, IsEmpty());
    EXPECT_EQ(simulated->httpClient().requestCount(), 0u);
    EXPECT_EQ(manager.diagnosis(), before);
    EXPECT_EQ(TrackerConfiguration::mode(), TrackerMode::release);
    EXPECT_EQ(TrackerDataExcavator::monitorViewControllerWhiteList().size(), 16u);
    EXPECT_EQ(TrackerManager::uuid(), std::nullopt);
    SimulatedPlatform untouched;
    untouched.uuids().next(); // the manager's session
    EXPECT_EQ(simulated->uuids().next(), untouched.uuids().next());
}

TEST_F(RetiredManagerTest, CallsNeedNoPlatform)
{
    TrackerManager& old = managerWithChannels();

    simulated.reset();
    callEverything(old);

    EXPECT_THAT(old.ledgers(), IsEmpty());
    // It would stop the process if a call had made the default platform.
    install();
}

TEST_F(RetiredManagerTest, LimitsOfAnOldChannelNeedNoPlatformAndNoManager)
{
    const auto old = channel("E2E");
    old->setLimits({ .events = 1 });
    simulated.reset();

    old->setLimits({ .events = 0 });
    old->setLimits({});

    install();
    std::vector<std::string> asked;
    simulated->setQuestionObserver([&](const std::string& question) { asked.push_back(question); });
    old->setLimits({ .events = 1 });
    old->insert(std::make_shared<TrackerRetryData>(nullptr, 1));
    simulated->advance(1s);
    EXPECT_THAT(asked, testing::Each(testing::HasSubstr("secondsSince1970")));
}

TEST_F(RetiredManagerTest, TheOldUploaderSendsNothing)
{
    TrackerNetwork& old = TrackerNetwork::shareInstance();
    install();
    std::optional<TrackerNetwork::PostEnd> end;

    old.postWithEnds("http://a/", std::make_shared<Dictionary>(), {},
        [&](const TrackerNetwork::PostResult& result, Batch) { end = result.end; }, {});

    EXPECT_EQ(end, TrackerNetwork::PostEnd::notAccepted);
    EXPECT_EQ(simulated->httpClient().requestCount(), 0u);
}

TEST_F(RetiredManagerTest, WhatTheHostGaveIsReleasedAndNotCalled)
{
    const Token token = std::make_shared<int>();
    const auto fail = [token](const auto&...) { FAIL() << "called while it is taken down"; };
    TrackerManager& manager = TrackerManager::shared();
    manager.setQvxUuid([token] { return std::optional<std::string>("id"); });
    manager.register_(channel("MP", [token] { return "http://a/"; }));
    manager.config("MP")->setStopHook(fail);
    TrackerManager::start();
    TrackerManager::setTriggerCallback(fail);
    TrackerManager::setDiagnosticsHandler(fail);
    manager.setupOstra({ new RecordingProvider, [token](auto* provider) { delete provider; } });
    QuorvexLog::setLogService(std::shared_ptr<LogService>(
        new RecordingLogService, [token](auto* service) { delete service; }));
    manager.networkStatus().onStatusChange(fail);
    simulated->httpClient().setRequestObserver(fail);
    manager.appendTracker({ { "name", "never taken in" } }, "nowhere");

    simulated.reset();

    // The other one is in `fail`.
    EXPECT_EQ(token.use_count(), 2);
}

TEST_F(RetiredManagerTest, AnUploadUnderWayEndsWithoutADiagnostic)
{
    const auto config = channel("MP");
    int diagnostics = 0;
    TrackerManager::setDiagnosticsHandler([&](const Diagnostic&) { ++diagnostics; });
    TrackerManager::shared().register_(config);
    simulated->httpClient().setAnswers({ ScriptedAnswer::later() });
    TrackerManager::shared().appendTracker({ { "name", "x" } }, "MP");
    TrackerManager::shared().timerEventHandler(config);
    simulated->runUntilIdle();
    ASSERT_EQ(config->ledger().events.inFlight, 1);

    simulated.reset();

    EXPECT_EQ(config->ledger().events.dropped.internalError, 1);
    EXPECT_EQ(diagnostics, 0);
}

TEST_F(RetiredManagerDeathTest, AChannelOfThePlatformBeforeStopsTheProcess)
{
    const auto config = channel("MP");

    install();

    EXPECT_DEATH(TrackerManager::shared().register_(config),
        "The channel `MP` was made on a platform that was taken down since");
}

// Calls the library when it is destroyed.
class Farewell {
public:
    explicit Farewell(int& count)
        : m_count(count)
    {
    }
    ~Farewell()
    {
        TrackerManager::shared().appendTracker({ { "name", "farewell" } }, "MP");
        TrackerManager::shared().enrollPageViewTrack("Last");
        QuorvexLog::log(QuorvexLog::Category::tracker(), "farewell");
        TrackerDataExcavator::setMobileName("set at the end");
        ++m_count;
    }

    Farewell(const Farewell&) = delete;
    Farewell& operator=(const Farewell&) = delete;

private:
    int& m_count;
};

TEST_F(RetiredManagerTest, ADestructorOfTheHostsMayCallTheLibraryMeanwhile)
{
    int farewells = 0;
    const auto newFarewell = [&] { return std::make_shared<Farewell>(farewells); };
    managerWithChannels().setQvxUuid(
        [kept = newFarewell()] { return std::optional<std::string>(); });
    TrackerManager::setTriggerCallback(
        [kept = newFarewell()](const Dictionary&, const std::string&) {});
    simulated->dispatch().mainAsync([kept = newFarewell()] {});
    simulated->setQuestionObserver([kept = newFarewell()](const std::string&) {});

    install();

    EXPECT_EQ(farewells, 4);
    EXPECT_THAT(TrackerManager::shared().ledgers(),
        ElementsAre(testing::Pair("",
            testing::Field(&LedgerSnapshot::events, testing::Field(&LedgerAccount::accepted, 0)))));
    EXPECT_EQ(TrackerDataExcavator::mobileName(), "iPhone 12");
}

} // namespace
} // namespace telvora
