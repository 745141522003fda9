#include <tests/Classes/SimulatedHost.h>

namespace telvora {
namespace {

class TrackerConfigTest : public SimulatedHost { };

TEST_F(TrackerConfigTest, ReturnsWhatItWasMadeWith)
{
    const Array events { Dictionary { { "number", 1 } } };

    const TrackerConfig config("MP", 7, { { "x-key", "1" } }, events, true, [] { return "u"; });

    EXPECT_EQ(config.index(), "MP");
    EXPECT_EQ(config.maxLimit(), 7);
    EXPECT_EQ(config.headers(), (StringDictionary { { "x-key", "1" } }));
    EXPECT_EQ(config.apiDatas(), events);
    EXPECT_TRUE(config.useOstraReport());
    EXPECT_EQ(config.urlHook()(), "u");
}

TEST_F(TrackerConfigTest, BeginsWithoutCommonDataRetriesAndStartHook)
{
    const TrackerConfig config("MP", 7);

    EXPECT_TRUE(config.commonData()->commonDatas.empty());
    EXPECT_EQ(config.commonData()->dataListKey, "data-list");
    EXPECT_TRUE(config.headers().empty());
    EXPECT_TRUE(config.apiDatas().empty());
    EXPECT_FALSE(config.useOstraReport());
    EXPECT_EQ(config.retryCache().size(), 0u);
    EXPECT_EQ(config.startHook(), nullptr);
    ASSERT_NE(config.stopHook(), nullptr);
    ASSERT_NE(config.restartHook(), nullptr);
    (*config.stopHook())();
    (*config.restartHook())();
}

TEST_F(TrackerConfigTest, ASetHookReplacesTheEarlierOne)
{
    TrackerConfig config("MP", 7);
    std::string called;
    config.setStartHook([&] { called += "old"; });

    config.setStartHook([&] { called += "start "; });
    config.setStopHook([&] { called += "stop "; });
    config.setRestartHook([&] { called += "restart"; });
    (*config.startHook())();
    (*config.stopHook())();
    (*config.restartHook())();

    EXPECT_EQ(called, "start stop restart");
}

TEST_F(TrackerConfigTest, AHookMayCallTheChannelWhileItIsDestroyed)
{
    TrackerConfig config("MP", 7);
    const auto onceGone = [&](void*) { config.setStopHook({}); };
    config.setStartHook([held = std::shared_ptr<void>(nullptr, onceGone)] {});

    config.setStartHook({});

    EXPECT_FALSE(*config.stopHook());
}

TEST_F(TrackerConfigTest, CommonDataMayBeNestedDeeperThanAnyStack)
{
    const auto deep = [] {
        Value value = nullptr;
        for (int level = 0; level < 200000; ++level) {
            Array outer;
            outer.emplace_back(std::move(value));
            value = std::move(outer);
        }
        Dictionary dictionary;
        dictionary["deep"] = std::move(value);
        return dictionary;
    };
    const auto config = addChannel("MP", 1);

    manager().setupCommonDatas(deep(), "data", "MP");
    append("MP", 1);
    manager().setupCommonDatas({}, "data", "MP");
    manager().setupCommonDatas(deep(), "data", "nowhere");
    simulated().runUntilIdle();

    EXPECT_EQ(requestCount(), 1u);
    EXPECT_TRUE(config->commonData()->commonDatas.empty());
}

TEST_F(TrackerConfigTest, AnInsertedRetryEntryIsPopped)
{
    TrackerConfig config("MP", 7);
    const Batch batch = makeBatch({ { "data-list", Array { 1, 2, 3 } } });

    config.insert(std::make_shared<TrackerRetryData>(batch, 2));
    const TrackerRetryEntry popped = config.popRetryData();

    ASSERT_NE(popped, nullptr);
    EXPECT_EQ(popped->data, batch);
    EXPECT_EQ(config.popRetryData(), nullptr);
}

TEST_F(TrackerConfigTest, ANullEntryIsNotInserted)
{
    TrackerConfig config("MP", 7);
    TrackerRetryCache cache;

    config.insert(nullptr);
    cache.insert(nullptr);
    simulated().runUntilIdle();

    EXPECT_EQ(config.retryCache().size(), 0u);
    EXPECT_EQ(cache.size(), 0u);
    EXPECT_EQ(config.ledger(), LedgerSnapshot());
}

TEST_F(TrackerConfigTest, AnEntryOfTheHostIsOnTheLedgerUntilTheHostPopsIt)
{
    TrackerConfig config("MP", 7);
    const Batch batch = makeBatch({ { "data-list", Array { 1, 2, 3 } } });

    config.insert(std::make_shared<TrackerRetryData>(batch, 1));
    EXPECT_EQ(config.ledger().events.waiting, 3);
    EXPECT_EQ(config.ledger().batches.waiting, 1);

    config.popRetryData();
    EXPECT_EQ(config.ledger(), LedgerSnapshot());
}

TEST_F(TrackerConfigTest, EventsGivenToTheConstructorAreSentWithTheFirstTick)
{
    answerAll(success());
    manager().register_(std::make_shared<TrackerConfig>("MP", 7, StringDictionary(),
        Array { event(1), event(2) }, false, [] { return "http://collector.example/"; }));

    TrackerManager::start();
    simulated().advance(std::chrono::seconds(60));

    ASSERT_EQ(requestCount(), 1u);
    EXPECT_EQ(numbersIn(0), (std::vector<std::int64_t> { 1, 2 }));
    EXPECT_EQ(ledgerOf("MP").events.delivered, 2);
    expectBalanced("MP");
}

} // namespace
} // namespace telvora
