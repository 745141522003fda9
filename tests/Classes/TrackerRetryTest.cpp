#include <tests/Classes/SimulatedHost.h>

namespace telvora {
namespace {

class TrackerRetryTest : public SimulatedHost {
protected:
    TrackerRetryTest()
        : config(std::make_shared<TrackerConfig>(
            "APM", 3, StringDictionary(), Array(), false, [happened = happened] {
                happened->push_back("url");
                return "http://collector.example/APM";
            }))
    {
        manager().register_(config);
        TrackerManager::setTriggerCallback(
            [happened = happened](
                const Dictionary&, const std::string&) { happened->push_back("trigger"); });
        answerAll(success());
    }

    // Puts an entry into the channel's cache, as a host can.
    void insert(Batch data, std::int64_t retryCount = 1)
    {
        config->insert(std::make_shared<TrackerRetryData>(std::move(data), retryCount));
        simulated().runUntilIdle();
    }

    // Shared with closures that may outlive the fixture.
    const std::shared_ptr<std::vector<std::string>> happened
        = std::make_shared<std::vector<std::string>>();
    const std::shared_ptr<TrackerConfig> config;
};

TEST_F(TrackerRetryTest, AnEntryWithoutDataIsDroppedAndNothingIsSent)
{
    insert(nullptr);

    append("APM", 1);

    EXPECT_EQ(*happened, (std::vector<std::string> { "trigger" }));
    EXPECT_EQ(requestCount(), 0u);
    EXPECT_EQ(config->retryCache().size(), 0u);
    EXPECT_EQ(ledgerOf("APM").batches.dropped.retriesExhausted, 1);
    expectBalanced("APM");
}

TEST_F(TrackerRetryTest, ATickDropsAnEntryWithoutData)
{
    insert(nullptr);
    TrackerManager::start();

    simulated().advance(std::chrono::seconds(60));

    EXPECT_TRUE(happened->empty());
    EXPECT_EQ(ledgerOf("APM").batches.dropped.retriesExhausted, 1);
    expectBalanced("APM");
}

TEST_F(TrackerRetryTest, AHostMayPopAnEntryWithoutData)
{
    insert(nullptr, 2);

    const TrackerRetryEntry popped = config->popRetryData();

    ASSERT_NE(popped, nullptr);
    EXPECT_EQ(popped->data, nullptr);
    EXPECT_EQ(popped->retryCount, 2);
    EXPECT_EQ(config->ledger(), LedgerSnapshot());
}

TEST_F(TrackerRetryTest, AnEntryWithAnEmptyDictionaryIsSent)
{
    insert(makeBatch({}));

    append("APM", 1);

    ASSERT_EQ(requestCount(), 1u);
    EXPECT_EQ(simulated().httpClient().requests().at(0).body, "{}");
    EXPECT_EQ(ledgerOf("APM").batches.delivered, 1);
}

TEST_F(TrackerRetryTest, EachEventBelowTheLimitSendsOneRetryEntry)
{
    insert(makeBatch({ { "waited", 1 } }));
    insert(makeBatch({ { "waited", 2 } }));
    insert(makeBatch({ { "waited", 3 } }));

    append("APM", 1);
    EXPECT_EQ(requestCount(), 1u);
    append("APM", 2);
    EXPECT_EQ(requestCount(), 2u);
    append("APM", 3);
    EXPECT_EQ(requestCount(), 3u);

    EXPECT_TRUE(body(0).contains("waited"));
    EXPECT_TRUE(body(1).contains("waited"));
    EXPECT_EQ(numbersIn(2), (std::vector<std::int64_t> { 1, 2, 3 }));
    EXPECT_EQ(config->retryCache().size(), 1u);
}

TEST_F(TrackerRetryTest, ARetryIsSentBeforeTheTriggerSeesTheEvent)
{
    insert(makeBatch({ { "waited", 1 } }));

    append("APM", 1);

    EXPECT_EQ(*happened, (std::vector<std::string> { "url", "trigger" }));
}

} // namespace
} // namespace telvora
