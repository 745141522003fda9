#include <Telvora/Base/HostCall.h>
#include <Telvora/Classes/Model/CommonTrackerModel.h>
#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Classes/Model/TrackerDataLifeCycleTrace.h>
#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

// Many threads report at once, on the real platform, while provider, page or network change.

namespace telvora {
namespace {

constexpr int threadCount = 6;
constexpr int reportsPerThread = 400;
constexpr int reportCount = threadCount * reportsPerThread;

class CountingProvider final : public QVXOstraProviderProtocol {
public:
    void report(const std::string& name, const std::string& content) override
    {
        const Decoded decoded = decode(content);
        if (name != "vendel-app" || !decoded.value || !decoded.value->is_object())
            ++broken;
        if (++count % 3 == 0 && throws)
            throw std::runtime_error("no more");
    }

    std::atomic<int> count { 0 };
    std::atomic<int> broken { 0 };
    std::atomic<bool> throws { false };
};

// Counts its lines without a lock: QuorvexLog promises one call at a time.
class CountingLogService final : public LogService {
public:
    void loggerInit() override { }
    void log(unsigned, const std::string&) override { lines = ++m_lines; }

    // Atomic: the close of a change of page may add a line while the test reads the count.
    std::atomic<int> lines { 0 };

private:
    int m_lines = 0;
};

class EventCount {
public:
    void add()
    {
        ++m_count;
        m_count.notify_all();
    }

    // Waits until the count has reached `count`, and returns it.
    int waitFor(int count) const
    {
        int current = m_count;
        for (; current < count; current = m_count)
            m_count.wait(current);
        return current;
    }

private:
    std::atomic<int> m_count { 0 };
};

class ReportStressTest : public testing::Test {
protected:
    ReportStressTest()
    {
        // The callback shares the count: it may still run when the fixture is destroyed.
        TrackerManager::setTriggerCallback(
            [events = m_events](const Dictionary&, const std::string&) { events->add(); });
    }

    static TrackerManager& manager() { return TrackerManager::shared(); }

    static void registerAPM()
    {
        manager().register_(std::make_shared<TrackerConfig>("APM", 1'000'000));
    }

    // Each thread makes its reports; `change` is called repeatedly until all threads have ended.
    static void reportFromAllThreads(
        const std::function<void(int number)>& report, const std::function<void()>& change)
    {
        std::atomic<int> reporting { threadCount };
        std::vector<std::thread> threads;
        for (int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([&] {
                for (int number = 0; number < reportsPerThread; ++number)
                    report(number);
                --reporting;
            });
        }
        while (reporting > 0)
            change();
        for (std::thread& thread : threads)
            thread.join();
    }

    // Waits until `count` events have passed the intake.
    void waitForEvents(int count) { EXPECT_EQ(m_events->waitFor(count), count); }

private:
    const std::shared_ptr<EventCount> m_events = std::make_shared<EventCount>();
};

TEST_F(ReportStressTest, AProviderGetsEveryReportOfEveryThreadWhole)
{
    registerAPM();
    const auto provider = std::make_shared<CountingProvider>();
    manager().setupOstra(provider);

    reportFromAllThreads(
        [](int number) {
            if (number % 2 == 0)
                manager().reportAPMDict({ { "t", "FPS" }, { "cs", "x" } });
            else
                manager().enrollSlowFrameTrack(number, 1, "Page");
        },
        [] { manager().setupCommonVendelDatas(); });

    EXPECT_EQ(provider->count, reportCount);
    EXPECT_EQ(provider->broken, 0);
}

TEST_F(ReportStressTest, InstallingAndRemovingTheProviderLosesNoReport)
{
    registerAPM();
    const auto provider = std::make_shared<CountingProvider>();

    reportFromAllThreads(
        [](int) {
            manager().reportAPMDict({ { "t", "x" } });
        },
        [&] {
            manager().setupOstra(provider);
            std::this_thread::yield();
            manager().setupOstra(nullptr);
        });

    waitForEvents(reportCount - provider->count);
    EXPECT_EQ(provider.use_count(), 1);
}

TEST_F(ReportStressTest, AProviderThatOnlyTheManagerOwnsMayBeReplacedAtAnyTime)
{
    registerAPM();

    reportFromAllThreads(
        [](int) {
            manager().reportAPMDict({ { "t", "x" } });
        },
        [] { manager().setupOstra(std::make_shared<CountingProvider>()); });
    manager().setupOstra(nullptr);
}

TEST_F(ReportStressTest, EveryExceptionOfAProviderIsCounted)
{
    registerAPM();
    const auto provider = std::make_shared<CountingProvider>();
    provider->throws = true;
    manager().setupOstra(provider);
    const auto exceptions = hostExceptionCount();

    reportFromAllThreads([](int) { manager().reportAPMDict({ { "t", "x" } }); }, [] {});

    EXPECT_EQ(provider->count, reportCount);
    EXPECT_EQ(hostExceptionCount() - exceptions, reportCount / 3);
}

TEST_F(ReportStressTest, NoReportIsLostWhilePagesChange)
{
    class Page final : public UIViewController {
        std::string className() const override { return "Page"; }
        std::string sceneName() const override { return "App.TradeViewController"; }
    };
    registerAPM();
    const auto log = std::make_shared<CountingLogService>();
    QuorvexLog::setLogService(log);
    QuorvexLog::configLogger();

    int changes = 0;
    reportFromAllThreads(
        [](int) {
            manager().reportAPMDict({ { "t", "FPS" } });
        },
        [&] {
            const auto page = std::make_shared<Page>();
            const auto adaptor = TrackerDataLifeCycleTrace::create("App.TradeViewController");
            adaptor->setScene(page);
            const auto play = [&](int occasion) {
                adaptor->activeActionHandler(static_cast<LifeCycleTraceOccasion>(occasion),
                    static_cast<LifeCycleTraceState>(1));
            };
            play(3);
            TrackerDataExcavator::addViewControllerInfo("id", std::to_string(++changes));
            play(5);
            manager().updateTracker({ ".TradeViewController" });
        });

    waitForEvents(reportCount);
    // One line a report and three lines a change of page. The close of a transition may add one.
    EXPECT_GE(log->lines, reportCount + 3 * changes);
}

TEST_F(ReportStressTest, ValuesOfTheDeviceAreComputedOnceForAllReaders)
{
    std::atomic<int> different { 0 };
    const std::string brand = TrackerDataExcavator::mobileName();

    reportFromAllThreads(
        [&](int) {
            if (CommonTrackerModel().brand != brand || TrackerDataExcavator::startTimestamp() <= 0)
                ++different;
        },
        [] { TrackerDataExcavator::initial(); });

    EXPECT_EQ(different, 0);
}

TEST_F(ReportStressTest, EventsOfEveryChannelAreAllTakenIn)
{
    for (const char* index : { "APM", "MP", "E2E", "Sentry" })
        manager().register_(std::make_shared<TrackerConfig>(index, 1'000'000));

    reportFromAllThreads(
        [](int number) {
            switch (number % 4) {
            case 0:
                return manager().enrollE2ETrack({ { "n", number } });
            case 1:
                return manager().enrollMPTrack({ { "n", number } });
            case 2:
                return manager().enrollSentryTrack({ { "n", number } }, true);
            default:
                return manager().enrollSentryTrack({ { "n", number } }, false);
            }
        },
        [] {
            manager().setupCommonE2EDatas();
            manager().setupCommonMPDatas();
            manager().setupCommonSentryDatas(false, false);
        });

    waitForEvents(reportCount);
    for (const char* index : { "APM", "MP", "E2E", "Sentry" })
        EXPECT_EQ(manager().ledger(index)->events.pending, reportCount / 4);
}

} // namespace
} // namespace telvora
