// A whole host on the real platform that forks: as a daemon does before it begins, and in the
// middle of everything.

#include <Telvora/Classes/Utils/TrackerNetwork.h>
#include <Telvora/Platform/Application.h>
#include <Telvora/Platform/Bundle.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Device.h>
#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Telvora.h>

#include <tests/PeakMemory.h>
#include <tests/Platform/Linux/Process/ServedChild.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

class SilentLog final : public LogService {
public:
    void loggerInit() override { }
    void log(unsigned, const std::string&) override { }
};

void setUp(const std::string& url)
{
    TrackerManager& manager = TrackerManager::shared();
    manager.register_(std::make_shared<TrackerConfig>(
        "E2E", 2, StringDictionary(), Array(), false, [url] { return url; }));
    manager.setQvxUuid([] { return "host"; });
    manager.setTriggerCallback([](const Dictionary&, const std::string&) {});
    manager.setupCommonE2EDatas();
    QuorvexLog::setLogService(std::make_shared<SilentLog>());
    QuorvexLog::configLogger();
    TrackerDataExcavator::initial();
    TrackerDataLifeCycleMonitor::setup();
}

// The child's limit ends the wait if the events never arrive.
void waitUntilDelivered(std::int64_t events)
{
    while (TrackerManager::shared().ledger("E2E")->events.delivered != events)
        std::this_thread::sleep_for(1ms);
}

void useOnce()
{
    TrackerManager::start();
    TrackerManager::shared().enrollE2ETrack({ { "first", true } });
    TrackerManager::shared().enrollE2ETrack({ { "second", true } });
}

class ForkedHostTest : public ServedChildTest { };

TEST_F(ForkedHostTest, ADaemonThatForksAfterItsSetUpDeliversItsEvents)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        setUp(url);
        const std::string end = endOfChild([] {
            useOnce();
            for (int number = 0; number < 18; ++number)
                TrackerManager::shared().enrollE2ETrack({ { "number", number } });
            waitUntilDelivered(20);
            ::_exit(0);
        });
        // The parent works as well.
        useOnce();
        waitUntilDelivered(2);
        ::_exit(end == "exited 0" ? 0 : 4);
    }),
        "exited 0");
}

// A fork copies the sanitizers' own locks as other threads left them: allocations hang in a child.
#ifndef TELVORA_SANITIZED
using ForkedHostQuirk = ForkedHostTest;

// Calls that a host makes often.
void reportEverything()
{
    TrackerManager& manager = TrackerManager::shared();
    manager.enrollE2ETrack({ { "number", 1 } });
    manager.enrollMPTrack({ { "number", 2 } });
    manager.enrollSentryTrack({ { "number", 3 } }, true);
    manager.reportAPMDict({ { "t", "FPS" }, { "cs", "x" } });
    manager.enrollPageViewTrack("Page");
    manager.enrollSlowFrameTrack(1, 2, "Page");
    manager.enrollSkarnTrack("backtrace", "cpu");
    manager.enrollLaunchTrack({ { "fp", 1 } });
    manager.ledgersDictionary();
    manager.getCurrentNetWorkStatus();
    manager.getCommonE2EDatas();
    TrackerManager::uuid();
    QuorvexLog::log(QuorvexLog::Category::tracker(), "line");
    QuorvexLog::safeLog(1, "line");
    TrackerDataExcavator::setTopViewControllerInfo(ViewControllerInfo {});
    TrackerDataExcavator::addViewControllerInfo("key", "value");
    TrackerDataExcavator::networkStatus();
    UIWindow::trackerTopViewControllerInfo();
    if (const auto channel = manager.config("E2E")) {
        channel->insert(std::make_shared<TrackerRetryData>(makeBatch({ { "x", 1 } }), 1));
        channel->popRetryData();
        channel->apiDatas();
        channel->retryCache().entries();
        manager.timerEventHandler(channel);
    }
}

// Calls that a host makes now and then.
void changeEverything()
{
    TrackerManager& manager = TrackerManager::shared();
    manager.setupCommonE2EDatas();
    manager.setupCommonSentryDatas(false, false);
    manager.setupCommonVendelDatas();
    TrackerManager::configHeaders({ { "a", "b" } });
    manager.setQvxUuid([] { return "other"; });
    TrackerManager::setTriggerCallback([](const Dictionary&, const std::string&) {});
    manager.setupOstra(nullptr);
    manager.setMode(TrackerMode::release);
    manager.updateTracker({ "Page" });
    manager.networkStatus().onStatusChange([](TrackNetworkStatus) {});
    QuorvexLog::setLogService(std::make_shared<SilentLog>());
    QuorvexLog::configLogger();
    QuorvexLog::setLogFilter(QuorvexLog::logFilter());
    QuorvexLog::setLogs(QuorvexLog::logs());
    TrackerDataExcavator::setMonitorViewControllerWhiteList(
        TrackerDataExcavator::monitorViewControllerWhiteList());
    TrackerDataExcavator::setMobileName(TrackerDataExcavator::mobileName());
    platform().notificationCenter.post(Notification::didEnterBackground);
    platform().notificationCenter.post(Notification::willEnterForeground);
    TrackerManager::stop();
    TrackerManager::start();
}

void askThePlatform()
{
    Platform& services = platform();
    services.application.canOpenURL("https://example.com");
    services.bundle.bundleIdentifier();
    services.bundle.objectForInfoDictionaryKey("CFBundleShortVersionString");
    services.clock.secondsSince1970();
    services.device.systemVersion();
    services.device.screenBounds();
    services.fileManager.fileExists("/nowhere");
    services.telephony.serviceCurrentRadioAccessTechnology();
    services.uuids.next();
}

// In a child that was forked from a library in use. Ends the process where an answer is not
// neutral.
void findTheLibraryInert()
{
    TrackerManager& manager = TrackerManager::shared();
    const auto mineAlone = std::make_shared<TrackerConfig>("MP", 1);
    manager.register_(mineAlone);
    reportEverything();
    changeEverything();
    askThePlatform();
    mineAlone->insert(std::make_shared<TrackerRetryData>(makeBatch({ { "x", 1 } }), 1));
    if (manager.config("E2E") || manager.config("MP") || manager.ledger("E2E"))
        ::_exit(10);
    if (TrackerManager::uuid() || mineAlone->popRetryData() || !mineAlone->apiDatas().empty())
        ::_exit(11);
    if (!manager.ledgers().empty() || !QuorvexLog::logs().empty())
        ::_exit(12);
    TrackerManager::setEnabled(false);
    const std::chrono::hours hour(1);
    if (TrackerManager::flush(hour) != FlushResult()
        || TrackerManager::shutdown(hour) != FlushResult())
        ::_exit(13);
}

TEST_F(ForkedHostQuirk, AChildOfAUsedLibraryMayCallEverythingAndFindsItInert)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        setUp(url);
        useOnce();
        waitUntilDelivered(2);
        ::_exit(endOfChild(findTheLibraryInert) == "exited 0" ? 0 : 4);
    }),
        "exited 0");
    EXPECT_EQ(requests, 1);
}

TEST_F(ForkedHostQuirk, ARetryEntryIsAUseOfTheLibrary)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        setUp(url);
        TrackerManager::shared().config("E2E")->insert(
            std::make_shared<TrackerRetryData>(makeBatch({ { "x", 1 } }), 1));
        ::_exit(endOfChild(findTheLibraryInert) == "exited 0" ? 0 : 4);
    }),
        "exited 0");
}

TEST_F(ForkedHostTest, ARequestInAChildOfAUsedLibraryIsRefusedAtOnce)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        setUp(url);
        useOnce();
        const std::string end = endOfChild([&url] {
            bool isRefused = false;
            TrackerNetwork::post(url, makeBatch({ { "x", 1 } }), {},
                [&](bool isAccepted, const Batch&) { isRefused = !isAccepted; });
            ::_exit(isRefused ? 0 : 3);
        });
        ::_exit(end == "exited 0" ? 0 : 4);
    }),
        "exited 0");
}

TEST_F(ForkedHostTest, AChildThatAppendsAMillionEventsKeepsNone)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        setUp(url);
        useOnce();
        ::_exit(endOfChild([] {
            const long before = peakMemory();
            for (int number = 0; number < 1'000'000; ++number)
                TrackerManager::shared().appendTracker({ { "number", number } }, "E2E");
            const long growth = peakMemory() - before;
            ::_exit(growth < 10'000 ? 0 : 3);
        }) == "exited 0"
                ? 0
                : 4);
    }),
        "exited 0");
}

TEST_F(ForkedHostTest, ForksInTheMiddleOfEverythingNeverHang)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        setUp(url);
        useOnce();
        std::atomic<bool> isEnding { false };
        const auto untilTheEnd = [&isEnding](void (*work)()) {
            return std::thread([&isEnding, work] {
                while (!isEnding)
                    work();
            });
        };
        std::vector<std::thread> threads;
        threads.push_back(untilTheEnd(reportEverything));
        threads.push_back(untilTheEnd(reportEverything));
        threads.push_back(untilTheEnd(changeEverything));
        threads.push_back(untilTheEnd(askThePlatform));

        std::string end = "exited 0";
        for (int round = 0; round < 100 && end == "exited 0"; ++round)
            end = endOfChild(findTheLibraryInert);
        isEnding = true;
        for (auto& thread : threads)
            thread.join();
        EXPECT_EQ(end, "exited 0");
        ::_exit(end == "exited 0" ? 0 : 3);
    }),
        "exited 0");
}
#endif

} // namespace
} // namespace telvora::detail
