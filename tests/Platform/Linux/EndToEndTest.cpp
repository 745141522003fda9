#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Telvora.h>

#include <tests/Tools/CollectorProgram.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;
using tests::CollectorProgram;

/// The whole library over real HTTP, with the collector as the witness.
class EndToEndTest : public testing::Test {
protected:
    EndToEndTest()
    {
        LinuxPlatformOptions options;
        options.applicationVersion = "1.2.3";
        m_platform = new LinuxPlatform(std::move(options));
        installPlatform(m_platform->services());
    }

    std::shared_ptr<TrackerConfig> addChannel(const std::string& index, std::int64_t maxLimit)
    {
        const auto url = "http://127.0.0.1:" + std::to_string(collector.port()) + "/" + index;
        auto config = std::make_shared<TrackerConfig>(
            index, maxLimit, StringDictionary(), Array(), false, [url] { return url; });
        TrackerManager::shared().register_(config);
        return config;
    }

    static Dictionary event(int thread, int number)
    {
        return { { "name", "order.submit" }, { "thread", thread }, { "number", number } };
    }

    /// Waits until `accepted` events have been taken in, and each request has its answer.
    static void waitForAnswers(const TrackerConfig& config, std::int64_t accepted)
    {
        LedgerAccount events = config.ledger().events;
        while (events.accepted < accepted || events.inFlight > 0) {
            std::this_thread::sleep_for(1ms);
            events = config.ledger().events;
        }
    }

    /// As an application in the background would: flushes until nothing is left.
    void flushAll(const TrackerConfig& config, std::int64_t appended)
    {
        const auto deadline = std::chrono::steady_clock::now() + 60s;
        while (std::chrono::steady_clock::now() < deadline) {
            const LedgerAccount events = config.ledger().events;
            if (events.accepted == appended && events.inFlight == 0) {
                if (events.pending == 0 && events.waiting == 0)
                    return;
                m_platform->notificationCenter().post(Notification::didEnterBackground);
            }
            std::this_thread::sleep_for(2ms);
        }
        FAIL() << *encode(ledgerDictionary(config.ledger()));
    }

    std::int64_t acceptedEvents(const std::string& path)
    {
        return collector.summary()
            .at("paths")
            .at(path)
            .at("accepted")
            .at("events")
            .to_number<std::int64_t>();
    }

    CollectorProgram collector;
    LinuxPlatform* m_platform = nullptr;
};

TEST_F(EndToEndTest, FourThreadsLoseNothingAndTheCollectorFindsNoFault)
{
    constexpr int threads = 4;
    constexpr int each = 2500;
    const auto config = addChannel("E2E", 100);
    TrackerManager::shared().setupCommonE2EDatas();
    TrackerManager::start();

    std::vector<std::jthread> producers;
    for (int thread = 0; thread < threads; ++thread) {
        producers.emplace_back([thread] {
            for (int number = 0; number < each; ++number)
                TrackerManager::shared().enrollE2ETrack(event(thread, number));
        });
    }
    producers.clear();
    flushAll(*config, threads * each);

    EXPECT_EQ(config->ledger().events.delivered, threads * each);
    EXPECT_EQ(acceptedEvents("/E2E"), threads * each);
    EXPECT_EQ(collector.total().at("badVerdicts").to_number<int>(), 0);
}

TEST_F(EndToEndTest, TheCollectorUnpacksCompressedBodies)
{
    constexpr int count = 30;
    const auto config = addChannel("MP", 10);
    config->setBodyEncoding(BodyEncoding::gzip);
    TrackerManager::start();
    collector.installRules(R"([{"times": 1, "status": 500, "body": ""}])");

    for (int number = 0; number < count; ++number)
        TrackerManager::shared().appendTracker(event(0, number), "MP");
    flushAll(*config, count);

    EXPECT_EQ(config->ledger().events.delivered, count);
    EXPECT_EQ(acceptedEvents("/MP"), count);
    for (const auto& request : collector.requests())
        EXPECT_TRUE(request.at("verdict").at("ok").as_bool()) << request;
}

TEST_F(EndToEndTest, RetryCacheDeliversAfterFaults)
{
    constexpr int count = 200;
    const auto config = addChannel("MP", 10);
    TrackerManager::start();
    collector.installRules(R"([{"times": 1, "status": 500, "body": ""},
        {"times": 1, "close": "within", "reset": true}, {"times": 1, "body": "<html>"}])");

    // A batch that fails while an event tries a retry may be lost: the retry cache is read and
    // changed in two steps.
    for (int number = 0; number < count; ++number) {
        TrackerManager::shared().appendTracker(event(0, number), "MP");
        waitForAnswers(*config, number + 1);
    }
    flushAll(*config, count);

    EXPECT_EQ(config->ledger().events.delivered, count);
    EXPECT_EQ(config->ledger().events.dropped.total(), 0);
    EXPECT_EQ(acceptedEvents("/MP"), count);
}

TEST_F(EndToEndTest, ALossIsNamedByTheReasonTheCollectorGave)
{
    const auto config = addChannel("MP", 5);
    TrackerManager::start();
    collector.installRules(R"([{"times": 1, "body": "[]"}])");

    for (int number = 0; number < 10; ++number)
        TrackerManager::shared().appendTracker(event(0, number), "MP");
    flushAll(*config, 10);

    EXPECT_EQ(config->ledger().events.dropped.answerNotObject, 5);
    EXPECT_EQ(config->ledger().events.delivered, 5);
    EXPECT_EQ(acceptedEvents("/MP"), 5);
}

TEST_F(EndToEndTest, ARequestCarriesTheHeadersOfTheWire)
{
    TrackerManager::shared().setQvxUuid([] { return std::optional<std::string>("device-1"); });
    TrackerManager::configHeaders({ { "X-Extra", "" }, { "content-type", "text/plain" } });
    const auto config = addChannel("MP", 1);

    TrackerManager::shared().appendTracker(event(0, 1), "MP");
    flushAll(*config, 1);

    const auto requests = collector.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_TRUE(requests[0].at("verdict").at("ok").as_bool()) << requests[0];
    std::map<std::string, std::string> headers;
    for (const auto& header : requests[0].at("headers").as_array())
        headers[std::string(header.at(0).as_string())] = header.at(1).as_string();
    EXPECT_EQ(headers.at("clienttype"), "ios");
    EXPECT_EQ(headers.at("versioncode"), "1.2.3");
    EXPECT_EQ(headers.at("QVX-UUID"), "device-1");
    EXPECT_EQ(headers.at("Content-Type"), "application/json");
    EXPECT_EQ(headers.at("X-Extra"), "");
}

TEST_F(EndToEndTest, EveryEventIsAccountedForWhileTheCollectorIsGone)
{
    const auto config = addChannel("MP", 10);
    TrackerManager::start();
    collector.end(SIGKILL);

    for (int number = 0; number < 2000; ++number)
        TrackerManager::shared().appendTracker(event(0, number), "MP");
    waitForAnswers(*config, 2000);
    // A removal from the retry cache may still be under way.
    m_platform->dispatch().waitUntilIdle(std::chrono::steady_clock::time_point::max());
    const LedgerAccount events = config->ledger().events;

    EXPECT_EQ(events.accepted, 2000);
    EXPECT_EQ(events.inFlight, 0);
    EXPECT_EQ(events.delivered, 0);
    EXPECT_EQ(events.accountedFor(), 2000);
}

} // namespace
} // namespace telvora::detail
