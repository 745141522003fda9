#include <tests/Classes/SimulatedHost.h>

#include <Telvora/Base/HostCall.h>

#include <stdexcept>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class TrackerIntakeTest : public SimulatedHost {
protected:
    static void tick() { simulated().advance(60s); }

    static std::vector<std::int64_t> retryCountsOf(const TrackerConfig& config)
    {
        std::vector<std::int64_t> counts;
        for (const auto& entry : config.retryCache().entries())
            counts.push_back(entry->retryCount);
        return counts;
    }

    // Records the numbers of the events that the trigger callback sees.
    void watchTrigger()
    {
        TrackerManager::setTriggerCallback(
            [this](const Dictionary& event, const std::string& index) {
                triggered.push_back(index + " " + std::to_string(event.at("number").as_int64()));
            });
    }

    std::vector<std::string> triggered;
};

using TrackerIntakeQuirk = TrackerIntakeTest;

TEST_F(TrackerIntakeTest, EventsArePendingBelowTheLimitAndSentTogetherAtTheLimit)
{
    const auto config = addChannel("APM", 3);
    answerAll(success());

    append("APM", 1, 2);
    EXPECT_EQ(config->apiDatas().size(), 2u);
    EXPECT_EQ(requestCount(), 0u);

    append("APM", 3);
    ASSERT_EQ(requestCount(), 1u);
    EXPECT_EQ(numbersIn(0), (std::vector<std::int64_t> { 1, 2, 3 }));
    EXPECT_TRUE(config->apiDatas().empty());
}

TEST_F(TrackerIntakeQuirk, ALimitOfOneOrLessSendsEveryEventAlone)
{
    addChannel("one", 1);
    addChannel("zero", 0);
    addChannel("negative", -5);
    answerAll(success());

    for (const char* index : { "one", "zero", "negative" })
        append(index, 1, 2);

    EXPECT_EQ(requestCount(), 6u);
}

TEST_F(TrackerIntakeTest, ABatchIsTheCommonDataAndTheEventsUnderTheKey)
{
    addChannel("APM", 2);
    manager().setupCommonDatas({ { "os", "ios" } }, "data", "APM");

    append("APM", 1, 2);

    EXPECT_EQ(simulated().httpClient().requests().at(0).body,
        R"({"os":"ios","data":[{"number":1},{"number":2}]})");
}

TEST_F(TrackerIntakeTest, TheEventsReplaceCommonDataOfTheSameKeyInTheBatchAlone)
{
    const auto config = addChannel("APM", 1);
    manager().setupCommonDatas({ { "data", "mine" }, { "os", "ios" } }, "data", "APM");

    append("APM", 1);

    EXPECT_EQ(body(0), (Dictionary { { "data", Array { event(1) } }, { "os", "ios" } }));
    EXPECT_EQ(config->commonData()->commonDatas.at("data"), "mine");
}

TEST_F(TrackerIntakeTest, TheURLHookIsCalledForEveryRequest)
{
    int asked = 0;
    manager().register_(std::make_shared<TrackerConfig>("APM", 1, StringDictionary(), Array(),
        false, [&] { return "http://collector.example/" + std::to_string(++asked); }));

    append("APM", 1, 2);

    EXPECT_EQ(simulated().httpClient().requests().at(0).url, "http://collector.example/1");
    EXPECT_EQ(simulated().httpClient().requests().at(1).url, "http://collector.example/2");
}

TEST_F(TrackerIntakeTest, TheTriggerSeesEveryEventOnceAfterItsIntake)
{
    const auto config = addChannel("APM", 2);
    std::vector<std::size_t> pendingThen;
    TrackerManager::setTriggerCallback([&](const Dictionary& event, const std::string& index) {
        triggered.push_back(index + " " + std::to_string(event.at("number").as_int64()));
        pendingThen.push_back(config->apiDatas().size());
    });

    append("APM", 1, 2);
    append("nowhere", 3);

    EXPECT_EQ(triggered, (std::vector<std::string> { "APM 1", "APM 2", "nowhere 3" }));
    EXPECT_EQ(pendingThen, (std::vector<std::size_t> { 1, 0, 0 }));
}

TEST_F(TrackerIntakeTest, AFullListIsShownAsPendingUntilItsRequestIsSent)
{
    std::shared_ptr<TrackerConfig> config;
    std::vector<std::size_t> pendingThen;
    const auto url = [&] {
        pendingThen.push_back(config->apiDatas().size());
        return std::string("http://collector.example/");
    };
    config = std::make_shared<TrackerConfig>("APM", 2, StringDictionary(), Array(), false, url);
    manager().register_(config);

    append("APM", 1, 2);

    EXPECT_EQ(pendingThen, (std::vector<std::size_t> { 2 }));
    EXPECT_TRUE(config->apiDatas().empty());
}

TEST_F(TrackerIntakeTest, EventsForUnknownChannelsAreNotKept)
{
    watchTrigger();
    append("APM", 1);

    const auto config = addChannel("APM", 1);
    simulated().runUntilIdle();

    EXPECT_EQ(triggered, (std::vector<std::string> { "APM 1" }));
    EXPECT_TRUE(config->apiDatas().empty());
    EXPECT_EQ(requestCount(), 0u);
}

TEST_F(TrackerIntakeTest, ATriggerThatThrowsStopsNothing)
{
    addChannel("APM", 1);
    TrackerManager::setTriggerCallback(
        [](const Dictionary&, const std::string&) { throw std::runtime_error("trigger"); });

    append("APM", 1, 2);

    EXPECT_EQ(requestCount(), 2u);
    EXPECT_EQ(hostExceptionCount(), 2);
}

TEST_F(TrackerIntakeTest, AnEventThatTheTriggerAppendsIsTakenInLater)
{
    addChannel("APM", 10);
    TrackerManager::setTriggerCallback([&](const Dictionary& event, const std::string& index) {
        triggered.push_back(std::to_string(event.at("number").as_int64()));
        if (event.at("number").as_int64() == 1)
            manager().appendTracker(SimulatedHost::event(50), index);
    });

    append("APM", 1, 2);

    EXPECT_EQ(triggered, (std::vector<std::string> { "1", "2", "50" }));
}

TEST_F(TrackerIntakeTest, ATickSendsThePendingEventsAndEmptiesTheList)
{
    const auto config = addChannel("APM", 10);
    answerAll(success());
    TrackerManager::start();
    append("APM", 1, 2);

    tick();

    ASSERT_EQ(requestCount(), 1u);
    EXPECT_EQ(numbersIn(0), (std::vector<std::int64_t> { 1, 2 }));
    EXPECT_TRUE(config->apiDatas().empty());
}

TEST_F(TrackerIntakeTest, ATickOfAnEmptyChannelWithoutRetriesSendsNothing)
{
    addChannel("APM", 10);
    TrackerManager::start();

    tick();

    EXPECT_EQ(requestCount(), 0u);
}

TEST_F(TrackerIntakeTest, ATickSendsEitherNewEventsOrOneRetry)
{
    const auto config = addChannel("APM", 2);
    simulated().httpClient().setAnswers({ failure(), failure(), success(), success() });
    TrackerManager::start();
    append("APM", 1, 2);
    append("APM", 3, 1);
    // The third event caused a retry of the failed batch, which failed too.
    ASSERT_EQ(retryCountsOf(*config), (std::vector<std::int64_t> { 2 }));

    tick();
    EXPECT_EQ(numbersIn(2), (std::vector<std::int64_t> { 3 }));
    EXPECT_EQ(config->retryCache().size(), 1u);

    tick();
    EXPECT_EQ(numbersIn(3), (std::vector<std::int64_t> { 1, 2 }));
    EXPECT_EQ(config->retryCache().size(), 0u);
}

TEST_F(TrackerIntakeTest, OneTickFlushesEachChannelWithItsOwnHeadersAndListKey)
{
    addChannel("APM", 10, { { "x-channel", "a" } });
    addChannel("MP", 10, { { "x-channel", "m" } });
    manager().setupCommonDatas({}, "data", "APM");
    TrackerManager::start();
    append("APM", 1);
    append("MP", 2);

    tick();

    const auto requests = simulated().httpClient().requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].url, "http://collector.example/APM");
    EXPECT_EQ(requests[0].headers.front().second, "a");
    EXPECT_EQ(requests[0].body, R"({"data":[{"number":1}]})");
    EXPECT_EQ(requests[1].url, "http://collector.example/MP");
    EXPECT_EQ(requests[1].headers.front().second, "m");
    EXPECT_EQ(requests[1].body, R"({"data-list":[{"number":2}]})");
}

TEST_F(TrackerIntakeTest, AFailedBatchIsSentFourTimesInAllAndThenDropped)
{
    const auto config = addChannel("APM", 1);
    answerAll(failure());
    TrackerManager::start();

    append("APM", 1);
    EXPECT_EQ(retryCountsOf(*config), (std::vector<std::int64_t> { 1 }));
    tick();
    EXPECT_EQ(retryCountsOf(*config), (std::vector<std::int64_t> { 2 }));
    tick();
    EXPECT_EQ(retryCountsOf(*config), (std::vector<std::int64_t> { 3 }));
    tick();
    EXPECT_TRUE(retryCountsOf(*config).empty());

    tick();
    EXPECT_EQ(requestCount(), 4u);
    expectBalanced("APM");
}

TEST_F(TrackerIntakeTest, ARetrySendsTheSameBatchWithoutNewCommonData)
{
    const auto config = addChannel("APM", 1);
    manager().setupCommonDatas({ { "os", "old" } }, "data", "APM");
    simulated().httpClient().setAnswers({ failure(), success() });
    TrackerManager::start();
    append("APM", 1);
    simulated().setWallTime(1800000000.25);
    manager().setupCommonDatas({ { "os", "new" } }, "list", "APM");

    tick();

    const auto requests = simulated().httpClient().requests();
    EXPECT_EQ(requests.at(1).body, requests.at(0).body);
}

TEST_F(TrackerIntakeTest, ARetryEntryHasTheTimeOfTheFailure)
{
    const auto config = addChannel("APM", 1);
    answerAll(failure());
    simulated().setWallTime(1800000000.25);

    append("APM", 1);

    ASSERT_EQ(config->retryCache().entries().size(), 1u);
    EXPECT_EQ(config->retryCache().entries().front()->timestamp, 1800000000.25);
    EXPECT_EQ(config->retryCache().entries().front()->maxRetryCount, 3);
}

TEST_F(TrackerIntakeQuirk, AnEventThatFillsTheListSendsNoRetry)
{
    const auto config = addChannel("APM", 1);
    simulated().httpClient().setAnswers({ failure(), success(), success() });
    append("APM", 1);

    append("APM", 2);

    EXPECT_EQ(requestCount(), 2u);
    EXPECT_EQ(config->retryCache().size(), 1u);
}

TEST_F(TrackerIntakeTest, ABatchWithoutAnAddressFailsAndIsRetried)
{
    int asked = 0;
    const auto config = std::make_shared<TrackerConfig>(
        "APM", 1, StringDictionary(), Array(), false, [&]() -> std::string {
            if (++asked == 1)
                throw std::runtime_error("no address yet");
            return "http://collector.example/";
        });
    manager().register_(config);
    answerAll(success());
    TrackerManager::start();

    append("APM", 1);
    EXPECT_EQ(retryCountsOf(*config), (std::vector<std::int64_t> { 1 }));
    tick();

    EXPECT_EQ(ledgerOf("APM").events.delivered, 1);
    EXPECT_EQ(hostExceptionCount(), 1);
}

TEST_F(TrackerIntakeTest, AnEmptyEventIsSent)
{
    addChannel("APM", 1);

    manager().appendTracker({}, "APM");
    simulated().runUntilIdle();

    EXPECT_EQ(simulated().httpClient().requests().at(0).body, R"({"data-list":[{}]})");
}

TEST_F(TrackerIntakeTest, AnEventNestedDeeperThanAnyStackIsSent)
{
    const auto config = addChannel("APM", 10);
    TrackerManager::start();
    answerAll(failure());
    Value deep = nullptr;
    for (int level = 0; level < 200000; ++level) {
        Array outer;
        outer.emplace_back(std::move(deep));
        deep = std::move(outer);
    }
    Dictionary event;
    event["deep"] = std::move(deep);

    manager().appendTracker(std::move(event), "APM");
    tick();
    tick();
    tick();
    tick();

    EXPECT_EQ(requestCount(), 4u);
    EXPECT_EQ(ledgerOf("APM").events.dropped.retriesExhausted, 1);
    expectBalanced("APM");
}

TEST_F(TrackerIntakeTest, TextThatIsNotUTF8IsSentRepaired)
{
    addChannel("APM", 1);

    manager().appendTracker({ { "k\xFF", "a\xC3(" } }, "APM");
    simulated().runUntilIdle();

    EXPECT_EQ(simulated().httpClient().requests().at(0).body,
        "{\"data-list\":[{\"k\xEF\xBF\xBD\":\"a\xEF\xBF\xBD(\"}]}");
}

TEST_F(TrackerIntakeQuirk, EventsThatArriveBetweenCopyAndClearingAreLost)
{
    bool isFirst = true;
    manager().register_(
        std::make_shared<TrackerConfig>("APM", 10, StringDictionary(), Array(), false, [&] {
            if (std::exchange(isFirst, false))
                manager().appendTracker(event(2), "APM");
            return std::string("http://collector.example/");
        }));
    answerAll(success());
    TrackerManager::start();
    append("APM", 1);

    tick();
    tick();

    ASSERT_EQ(requestCount(), 1u);
    EXPECT_EQ(numbersIn(0), (std::vector<std::int64_t> { 1 }));
}

} // namespace
} // namespace telvora
