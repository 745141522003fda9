#include <tests/Classes/SimulatedHost.h>

#include <functional>
#include <limits>
#include <stdexcept>

// Pending events and batches are kept as text. Nobody who looks at them sees that.

namespace telvora {
namespace {

using namespace std::chrono_literals;

class TrackerIntakeTextTest : public SimulatedHost {
protected:
    static constexpr double infinity = std::numeric_limits<double>::infinity();

    static void tick() { simulated().advance(60s); }

    static void appendEvent(const Dictionary& event, const std::string& index = "APM")
    {
        manager().appendTracker(event, index);
        simulated().runUntilIdle();
    }

    // Registers a channel whose URL hook calls `asked` first.
    static std::shared_ptr<TrackerConfig> addChannelAsking(
        std::int64_t maxLimit, std::function<void()> asked)
    {
        auto config = std::make_shared<TrackerConfig>(
            "APM", maxLimit, StringDictionary(), Array(), false, [asked = std::move(asked)] {
                asked();
                return std::string("http://collector.example/");
            });
        manager().register_(config);
        return config;
    }

    static Array shownOf(const std::shared_ptr<TrackerConfig>& config)
    {
        return config ? config->apiDatas() : Array();
    }
};

TEST_F(TrackerIntakeTextTest, AnEventThatCannotBeEncodedCountsAtItsUploadAfterTheAddressWasAskedFor)
{
    int asked = 0;
    const auto config = addChannelAsking(3, [&] { ++asked; });
    const Dictionary broken { { "n", infinity } };
    appendEvent(event(1));
    appendEvent(broken);

    EXPECT_EQ(config->apiDatas(), (Array { event(1), broken }));
    EXPECT_EQ(ledgerOf("APM").events.pending, 2);
    EXPECT_EQ(asked, 0);

    appendEvent(event(3));
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(requestCount(), 0u);
    EXPECT_EQ(ledgerOf("APM").events.dropped.unencodable, 3);
    expectBalanced("APM");
}

TEST_F(TrackerIntakeTextTest, ATickDropsABatchThatCannotBeEncoded)
{
    const auto config = addChannel("APM");
    TrackerManager::start();
    appendEvent({ { "n", -infinity } });

    tick();

    EXPECT_EQ(requestCount(), 0u);
    EXPECT_EQ(config->apiDatas(), Array());
    EXPECT_EQ(ledgerOf("APM").events.dropped.unencodable, 1);
}

TEST_F(TrackerIntakeTextTest, CommonDataThatCannotBeEncodedMakeTheBatchUndeliverable)
{
    addChannel("APM", 1);
    manager().setupCommonDatas({ { "n", infinity } }, "data", "APM");
    appendEvent(event(1));
    EXPECT_EQ(ledgerOf("APM").events.dropped.unencodable, 1);

    manager().setupCommonDatas({ { "n", 1 } }, "data", "APM");
    appendEvent(event(2));
    EXPECT_EQ(simulated().httpClient().requests().at(0).body, R"({"n":1,"data":[{"number":2}]})");
}

TEST_F(TrackerIntakeTextTest, ABatchHasTheCommonDataOfTheMomentInWhichItIsMade)
{
    addChannel("APM", 2);
    manager().setupCommonDatas({ { "n", 1 } }, "early", "APM");
    appendEvent(event(1));
    manager().setupCommonDatas({ { "n", 2 } }, "late", "APM");
    appendEvent(event(2));

    EXPECT_EQ(simulated().httpClient().requests().at(0).body,
        R"({"n":2,"late":[{"number":1},{"number":2}]})");
}

TEST_F(TrackerIntakeTextTest, TheTriggerSeesTheVeryEventThatWasAppended)
{
    addChannel("APM", 2);
    watchEvents();
    const Array events { { { "text", "\xFF" } }, { { "n", infinity } },
        { { "n", std::uint64_t { 1 } } } };
    for (const Value& event : events)
        appendEvent(event.get_object());

    ASSERT_EQ(seen.size(), 3u);
    for (std::size_t index = 0; index < 3; ++index)
        EXPECT_EQ(seen[index].event, events[index]);
    EXPECT_TRUE(seen[2].event.at("n").is_uint64());
}

TEST_F(TrackerIntakeTextTest, AFailedBatchIsSeenInTheRetryCacheAsItWasMade)
{
    const auto config = addChannel("APM", 2);
    manager().setupCommonDatas({ { "bad\xFF", 1 } }, "data", "APM");
    answerAll(failure());
    const Dictionary broken { { "text", "\xFF" } };
    appendEvent(event(1));
    appendEvent(broken);

    const auto entries = config->retryCache().entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(
        *entries[0]->data, (Dictionary { { "bad\xFF", 1 }, { "data", { event(1), broken } } }));
    EXPECT_EQ(entries[0]->data, config->popRetryData()->data);
}

TEST_F(TrackerIntakeTextTest, ARequestAndItsRetryShareOneBody)
{
    addChannel("APM", 2);
    answerAll(failure());
    appendEvent(event(1));
    appendEvent(event(2));
    appendEvent(event(3)); // Sends the retry.

    const auto& requests = simulated().httpClient().requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[1].body.data(), requests[0].body.data());
}

TEST_F(TrackerIntakeTextTest, ARetryEntryOfTheHostKeepsItsDictionary)
{
    const auto config = addChannel("APM");
    answerAll(failure());
    const auto given = std::make_shared<const Dictionary>(Dictionary { { "n", 1 } });
    config->insert(std::make_shared<TrackerRetryData>(given, 1));
    appendEvent(event(1)); // Sends the retry, which fails.

    const auto entries = config->retryCache().entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0]->retryCount, 2);
    EXPECT_EQ(entries[0]->data.get(), given.get());
    EXPECT_TRUE(entries[0]->data == given);
}

TEST_F(TrackerIntakeTextTest, ALeavingListShowsTheEventsOfItsBatchAlthoughTheListKeyChanges)
{
    std::shared_ptr<TrackerConfig> config;
    std::vector<Array> shown;
    config = addChannelAsking(2, [&] {
        manager().setupCommonDatas({ { "new", "x" } }, "new", "APM");
        shown.push_back(shownOf(config));
    });
    manager().setupCommonDatas({ { "new", "y" } }, "old", "APM");
    append("APM", 1, 2);

    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0], (Array { event(1), event(2) }));
    EXPECT_EQ(simulated().httpClient().requests().at(0).body,
        R"({"new":"y","old":[{"number":1},{"number":2}]})");
}

TEST_F(TrackerIntakeTextTest, AFlushedListIsShownUntilItIsCleared)
{
    std::shared_ptr<TrackerConfig> config;
    std::vector<Array> shown;
    config = addChannelAsking(10, [&] { shown.push_back(shownOf(config)); });
    TrackerManager::start();
    append("APM", 1, 2);

    tick();

    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0], (Array { event(1), event(2) }));
    EXPECT_EQ(config->apiDatas(), Array());
}

TEST_F(TrackerIntakeTextTest, AHookThatThrowsDoesNotLeaveTheListShowing)
{
    const auto config = addChannelAsking(1, [] { throw std::runtime_error("no address"); });

    append("APM", 1);

    EXPECT_EQ(config->apiDatas(), Array());
    EXPECT_EQ(ledgerOf("APM").events.waiting, 1);
}

TEST_F(TrackerIntakeTextTest, TheFirstEventsOfAChannelMayHaveNumbersThatAreNotFinite)
{
    const Array first { event(1), { { "n", infinity } } };
    const TrackerConfig config("APM", 10, {}, first);

    EXPECT_EQ(config.apiDatas(), first);
    EXPECT_EQ(config.ledger().events.pending, 2);
}

} // namespace
} // namespace telvora
