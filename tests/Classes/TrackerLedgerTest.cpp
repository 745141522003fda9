#include <tests/Classes/SimulatedHost.h>

#include <stdexcept>

#include <limits>

namespace telvora {
namespace {

class TrackerLedgerTest : public SimulatedHost {
protected:
    // A channel whose URL hook appends an event once: between a flush's copy and its clearing.
    static std::shared_ptr<TrackerConfig> addChannelThatAppendsWhilePosting(
        const std::string& index, std::int64_t maxLimit)
    {
        auto appended = std::make_shared<bool>(false);
        auto config = std::make_shared<TrackerConfig>(
            index, maxLimit, StringDictionary(), Array(), false, [index, appended] {
                if (!std::exchange(*appended, true))
                    manager().appendTracker(event(100), index);
                return "http://collector.example/" + index;
            });
        manager().register_(config);
        return config;
    }

    static void tick() { simulated().advance(std::chrono::seconds(60)); }
};

using TrackerLedgerQuirk = TrackerLedgerTest;
using Outcome = UploadFailure::Outcome;

TEST_F(TrackerLedgerTest, KeepsTheLastFailureAlsoAfterASuccess)
{
    addChannel("APM", 1);
    EXPECT_EQ(ledgerOf("APM").lastFailure, std::nullopt);
    EXPECT_TRUE(ledgerDictionary(ledgerOf("APM")).at("lastFailure").is_null());

    answerAll(ScriptedAnswer::error("Could not resolve host"));
    append("APM", 1);
    const UploadFailure failed { simulated().clock().secondsSince1970(),
        "http://collector.example/APM", 0, "Could not resolve host", 1, 4, Outcome::waiting };
    EXPECT_EQ(ledgerOf("APM").lastFailure, failed);

    answerAll(success());
    append("APM", 2);
    EXPECT_EQ(ledgerOf("APM").batches.delivered, 1);
    EXPECT_EQ(ledgerOf("APM").lastFailure, failed);
    EXPECT_EQ(ledgerDictionary(ledgerOf("APM")).at("lastFailure"),
        (Value { { "secondsSince1970", failed.secondsSince1970 }, { "url", failed.url },
            { "status", 0 }, { "reason", failed.reason }, { "attempt", 1 },
            { "outcome", "waiting" } }));
}

TEST_F(TrackerLedgerTest, ALastFailureSaysWhyAndWhatBecomesOfTheBatch)
{
    struct Row {
        ScriptedAnswer answer;
        int status;
        std::string reason;
        Outcome outcome;
    };
    const std::vector<Row> table {
        { ScriptedAnswer::noData(), 0, "There is no answer", Outcome::waiting },
        { ScriptedAnswer::body("<html>", 401), 401, "The answer is not JSON: syntax error",
            Outcome::waiting },
        { ScriptedAnswer::body("{}", 503), 503, "The answer does not say \"success\"",
            Outcome::waiting },
        { ScriptedAnswer::body("[]"), 200, "The answer is JSON, but no object", Outcome::dropped },
    };
    int number = 0;
    for (const Row& row : table) {
        const std::string index = "channel" + std::to_string(++number);
        addChannel(index, 1);
        answerAll(row.answer);

        append(index, 1);

        const auto failure = ledgerOf(index).lastFailure;
        ASSERT_TRUE(failure) << row.reason;
        EXPECT_EQ(failure->status, row.status);
        EXPECT_EQ(failure->reason, row.reason);
        EXPECT_EQ(failure->outcome, row.outcome);
        EXPECT_EQ(failure->attempt, 1);
    }
}

TEST_F(TrackerLedgerTest, ALastFailureCountsTheTriesOfItsBatch)
{
    const auto config = addChannel("APM");
    answerAll(failure());
    config->insert(std::make_shared<TrackerRetryData>(makeBatch({ { "n", 1 } }), 3));

    append("APM", 1);

    const auto failure = ledgerOf("APM").lastFailure;
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->attempt, 4);
    EXPECT_EQ(failure->attempts, 4);
    EXPECT_EQ(failure->outcome, Outcome::givenUp);
}

TEST_F(TrackerLedgerTest, ALastFailureOfABatchThatWasNeverSentSaysSo)
{
    manager().register_(std::make_shared<TrackerConfig>("APM", 1));
    append("APM", 1);
    EXPECT_EQ(ledgerOf("APM").lastFailure.value().reason, "The channel has no URL hook");
    EXPECT_EQ(ledgerOf("APM").lastFailure.value().url, "");

    manager().register_(std::make_shared<TrackerConfig>("MP", 1, StringDictionary(), Array(), false,
        []() -> std::string { throw std::runtime_error("none"); }));
    append("MP", 1);
    EXPECT_EQ(ledgerOf("MP").lastFailure.value().reason, "The URL hook threw");

    addChannel("E2E", 1);
    manager().appendTracker({ { "n", std::numeric_limits<double>::infinity() } }, "E2E");
    simulated().runUntilIdle();
    EXPECT_EQ(ledgerOf("E2E").lastFailure.value().reason, "A number in it is not finite");
    EXPECT_EQ(ledgerOf("E2E").lastFailure.value().outcome, Outcome::dropped);
}

TEST_F(TrackerLedgerTest, ARetryCountOfTheHostsIsNotCountedBeyondItsLargestValue)
{
    const auto config = addChannel("APM");
    answerAll(failure());
    constexpr auto largest = std::numeric_limits<std::int64_t>::max();
    auto entry = std::make_shared<TrackerRetryData>(makeBatch({ { "n", 1 } }), largest);
    entry->maxRetryCount = largest;
    config->insert(entry);

    append("APM", 1);

    EXPECT_EQ(ledgerOf("APM").lastFailure.value().attempt, largest);
    EXPECT_EQ(ledgerOf("APM").lastFailure.value().attempts, largest);
}

TEST_F(TrackerLedgerTest, FollowsAnEventFromTheListToItsDelivery)
{
    addChannel("APM", 2);
    answerAll(ScriptedAnswer::later());

    append("APM", 1);
    EXPECT_EQ(ledgerOf("APM").events.pending, 1);
    EXPECT_EQ(ledgerOf("APM").batches.accepted, 0);

    append("APM", 2);
    EXPECT_EQ(ledgerOf("APM").events.pending, 0);
    EXPECT_EQ(ledgerOf("APM").events.inFlight, 2);
    EXPECT_EQ(ledgerOf("APM").batches.inFlight, 1);

    simulated().httpClient().answer(1, success());
    simulated().runUntilIdle();
    EXPECT_EQ(ledgerOf("APM").events.delivered, 2);
    EXPECT_EQ(ledgerOf("APM").batches.delivered, 1);
    expectBalanced("APM");
}

TEST_F(TrackerLedgerTest, FollowsABatchThroughItsRetriesToItsDrop)
{
    addChannel("APM", 2);
    answerAll(failure());

    append("APM", 1, 2);
    EXPECT_EQ(ledgerOf("APM").events.waiting, 2);
    append("APM", 3);
    EXPECT_EQ(ledgerOf("APM").events.waiting, 2);
    TrackerManager::start();
    // The tick sends the pending event, which fails as well; two more retry the older batch.
    tick();
    tick();
    tick();

    const LedgerSnapshot ledger = ledgerOf("APM");
    EXPECT_EQ(ledger.events.dropped.retriesExhausted, 2);
    EXPECT_EQ(ledger.batches.dropped.retriesExhausted, 1);
    EXPECT_EQ(ledger.events.waiting, 1);
    expectBalanced("APM");
}

TEST_F(TrackerLedgerTest, CountsEventsForUnknownChannels)
{
    append("nowhere", 1, 3);

    const auto ledgers = manager().ledgers();

    EXPECT_EQ(ledgers.at("").events.accepted, 3);
    EXPECT_EQ(ledgers.at("").events.dropped.unknownChannel, 3);
    EXPECT_FALSE(manager().ledger("nowhere"));
}

TEST_F(TrackerLedgerTest, KeepsUnknownChannelsApartFromAChannelWithAnEmptyIndex)
{
    addChannel("", 10);
    append("", 1, 2);
    append("nowhere", 1, 3);

    const auto ledgers = manager().ledgers();

    EXPECT_EQ(ledgers.at("").events.pending, 2);
    EXPECT_EQ(ledgers.at("(unknown)").events.dropped.unknownChannel, 3);
    EXPECT_EQ(
        keysOf(manager().ledgersDictionary()), (std::vector<std::string> { "", "(unknown)" }));
}

TEST_F(TrackerLedgerTest, CountsBatchesThatCannotBeEncoded)
{
    addChannel("APM", 1);

    manager().appendTracker({ { "x", std::numeric_limits<double>::quiet_NaN() } }, "APM");
    simulated().runUntilIdle();

    EXPECT_EQ(ledgerOf("APM").events.dropped.unencodable, 1);
    EXPECT_EQ(ledgerOf("APM").batches.dropped.unencodable, 1);
    EXPECT_EQ(requestCount(), 0u);
    expectBalanced("APM");
}

TEST_F(TrackerLedgerTest, CountsBatchesWhoseAnswerIsNoObject)
{
    addChannel("APM", 1);
    answerAll(ScriptedAnswer::body("[]"));

    append("APM", 1);

    EXPECT_EQ(ledgerOf("APM").events.dropped.answerNotObject, 1);
    expectBalanced("APM");
}

TEST_F(TrackerLedgerTest, CountsEventsThatArriveBetweenCopyAndClearing)
{
    addChannelThatAppendsWhilePosting("APM", 10);
    answerAll(success());
    TrackerManager::start();
    append("APM", 1, 2);
    tick();

    const LedgerSnapshot ledger = ledgerOf("APM");
    EXPECT_EQ(ledger.events.accepted, 3);
    EXPECT_EQ(ledger.events.delivered, 2);
    EXPECT_EQ(ledger.events.dropped.clearedAfterCopy, 1);
    expectBalanced("APM");
}

TEST_F(TrackerLedgerQuirk, CountsAnEventOnceThatAFlushAndAFullListBothSend)
{
    // The third event arrives between the copy of the first two and the clearing. It fills the
    // list, and all three are sent.
    addChannelThatAppendsWhilePosting("APM", 3);
    answerAll(success());
    TrackerManager::start();
    append("APM", 1, 2);

    tick();

    ASSERT_EQ(requestCount(), 2u);
    EXPECT_EQ(numbersIn(0), (std::vector<std::int64_t> { 1, 2 }));
    EXPECT_EQ(numbersIn(1), (std::vector<std::int64_t> { 1, 2, 100 }));
    const LedgerSnapshot ledger = ledgerOf("APM");
    EXPECT_EQ(ledger.events.accepted, 3);
    EXPECT_EQ(ledger.events.delivered, 3);
    EXPECT_EQ(ledger.batches.delivered, 2);
    expectBalanced("APM");
}

TEST_F(TrackerLedgerTest, CountsExceptionsOfTheHostsClosures)
{
    const auto throwing = []() -> std::string { throw std::runtime_error("hook"); };
    const auto config
        = std::make_shared<TrackerConfig>("APM", 1, StringDictionary(), Array(), false, throwing);
    config->setStartHook([&] { throwing(); });
    manager().register_(config);
    EXPECT_FALSE(ledgerDictionary(ledgerOf("APM")).contains("hostExceptions"));

    TrackerManager::start();
    EXPECT_EQ(ledgerOf("APM").hostExceptions, 1);
    append("APM", 1);
    EXPECT_EQ(ledgerOf("APM").hostExceptions, 2);

    TrackerManager::setTriggerCallback([](const Dictionary&, const std::string&) { throw 7; });
    append("nowhere", 2);
    EXPECT_EQ(ledgerOf("APM").hostExceptions, 2);
    EXPECT_EQ(manager().ledgersDictionary().at("").at("hostExceptions"), 1);
    expectBalanced("APM");
}

TEST_F(TrackerLedgerTest, DictionaryLeavesOutMembersThatABatchCannotHave)
{
    addChannel("APM", 1);
    answerAll(success());
    append("APM", 1);

    const Dictionary dictionary = manager().ledgersDictionary();

    EXPECT_EQ(encode(dictionary.at("APM")),
        R"({"events":{"accepted":1,"pending":0,"inFlight":0,"waiting":0,"delivered":1,)"
        R"("dropped":{"unknownChannel":0,"clearedAfterCopy":0,"unencodable":0,)"
        R"("answerNotObject":0,"retriesExhausted":0,"removedUnseen":0}},)"
        R"("batches":{"accepted":1,"inFlight":0,"waiting":0,"delivered":1,)"
        R"("dropped":{"unencodable":0,"answerNotObject":0,"retriesExhausted":0,)"
        R"("removedUnseen":0}},"lastFailure":null})");
    EXPECT_TRUE(dictionary.contains(""));
}

} // namespace
} // namespace telvora
