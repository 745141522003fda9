#include <tests/Classes/LimitsHost.h>

#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

// What one channel keeps at most, and what is dropped beyond that.

namespace telvora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Handled = std::vector<Diagnostic>;

class LimitsTest : public LimitsHost { };

TEST_F(LimitsTest, UntilSetEverythingIsKept)
{
    const auto channel = addChannelWithBatch("E2E", 1, 2000);
    append("E2E", 2001, 999);

    EXPECT_EQ(channel->limits(), Limits());
    EXPECT_EQ(TrackerManager::limits(), Limits());
    EXPECT_EQ(ledgerOf("E2E").events.dropped.total(), 0);
}

TEST_F(LimitsTest, TheOldestPendingEventsMakeRoom)
{
    const auto channel = addChannel("E2E");
    setLimits(channel, { .events = 3 });
    append("E2E", 1, 5);

    EXPECT_THAT(pending(channel), ElementsAre(3, 4, 5));
    EXPECT_EQ(overLimit("E2E"), 2);
    EXPECT_EQ(ledgerOf("E2E").events.accepted, 5);
    expectBalanced("E2E");
}

TEST_F(LimitsTest, TheNewestEventIsRefusedAndOnlyTheTriggerCallbackSeesIt)
{
    const auto channel = addChannelWithBatch("E2E", 1, 2);
    setLimits(channel, { .events = 4, .drop = DropFirst::newest });
    append("E2E", 3, 2);
    answerAll(ScriptedAnswer::later());
    const std::size_t before = requestCount();
    watchEvents();
    append("E2E", 5, 2);

    // The waiting batch went out with the events before, came back, and had no further chance.
    EXPECT_EQ(requestCount(), before);
    EXPECT_EQ(seen.size(), 2u);
    EXPECT_THAT(pending(channel), ElementsAre(3, 4));
    EXPECT_THAT(waiting(channel), ElementsAre(ElementsAre(1, 2)));
    EXPECT_EQ(overLimit("E2E"), 2);
    expectBalanced("E2E");
}

TEST_F(LimitsTest, ARefusedEventDoesNotFillTheList)
{
    const auto channel = addChannel("E2E", 3);
    setLimits(channel, { .events = 2, .drop = DropFirst::newest });
    append("E2E", 1, 10);

    EXPECT_EQ(requestCount(), 0u);
    EXPECT_THAT(pending(channel), ElementsAre(1, 2));
}

TEST_F(LimitsTest, AListThatIsFullWithinTheLimitIsSent)
{
    const auto channel = addChannel("E2E", 3);
    answerAll(success());
    setLimits(channel, { .events = 3 });
    append("E2E", 1, 6);

    EXPECT_EQ(requestCount(), 2u);
    EXPECT_EQ(ledgerOf("E2E").events.delivered, 6);
    EXPECT_EQ(overLimit("E2E"), 0);
}

TEST_F(LimitsTest, WaitingBatchesGoWholeBeforePendingEvents)
{
    const auto channel = addChannelWithBatch("E2E", 1, 3);
    channel->setRetryPolicy(RetryPolicy { .first = 1h, .longest = 1h });
    setLimits(channel, { .events = 5 });
    append("E2E", 4, 3);

    EXPECT_THAT(waiting(channel), IsEmpty());
    EXPECT_THAT(pending(channel), ElementsAre(4, 5, 6));
    EXPECT_EQ(overLimit("E2E"), 3);
    EXPECT_EQ(ledgerOf("E2E").batches.dropped.overLimit, 1);
    expectBalanced("E2E");
}

TEST_F(LimitsTest, TheBatchThatFailedFirstGoesFirstHoweverOftenItWasTriedSince)
{
    const auto channel = addChannelWithBatch("E2E", 1, 1);
    channel->setRetryPolicy(RetryPolicy { .tries = {}, .first = 1h, .longest = 1h });
    simulated().advance(1s);
    failBatch(channel, 2, 2);
    simulated().advance(1s);
    // Now the first one has failed most often and last.
    simulated().httpClient().setAnswers({ failure() }, true);
    simulated().advance(2h);
    failBatch(channel, 3, 3);

    setLimits(channel, { .batches = 2 });
    EXPECT_EQ(ledgerOf("E2E").batches.waiting, 2);
    for (const Numbers& numbers : waiting(channel))
        EXPECT_THAT(numbers, testing::Each(testing::Gt(1)));
    setLimits(channel, { .batches = 1 });
    EXPECT_THAT(waiting(channel), ElementsAre(ElementsAre(3)));
    EXPECT_EQ(overLimit("E2E"), 2);
    expectBalanced("E2E");
}

TEST_F(LimitsTest, ABatchThatComesBackOverTheLimitIsTheNewest)
{
    const auto channel = addChannelWithBatch("E2E", 1, 2);
    channel->setRetryPolicy(RetryPolicy { .first = 1h, .longest = 1h });
    setLimits(channel, { .batches = 1, .drop = DropFirst::newest });
    const auto handled = std::make_shared<Handled>();
    TrackerManager::setDiagnosticsHandler(
        [handled](const Diagnostic& diagnostic) { handled->push_back(diagnostic); });
    failBatch(channel, 3, 5);
    simulated().advance(2s);

    EXPECT_THAT(waiting(channel), ElementsAre(ElementsAre(1, 2)));
    const LedgerSnapshot ledger = ledgerOf("E2E");
    EXPECT_EQ(ledger.events.dropped.overLimit, 3);
    EXPECT_EQ(ledger.batches.dropped.overLimit, 1);
    EXPECT_EQ(ledger.lastFailure.value().outcome, UploadFailure::Outcome::dropped);
    ASSERT_EQ(handled->size(), 1u);
    EXPECT_EQ(handled->front().kind, Diagnostic::Kind::batchGivenUp);
    EXPECT_EQ(handled->front().dropReason, DropReason::overLimit);
    EXPECT_EQ(handled->front().events, 3);
    expectBalanced("E2E");
}

TEST_F(LimitsTest, ABatchThatComesBackMakesTheOldestGo)
{
    const auto channel = addChannelWithBatch("E2E", 1, 2);
    channel->setRetryPolicy(RetryPolicy { .first = 1h, .longest = 1h });
    setLimits(channel, { .events = 4 });
    failBatch(channel, 3, 5);

    EXPECT_THAT(waiting(channel), ElementsAre(ElementsAre(3, 4, 5)));
    EXPECT_EQ(ledgerOf("E2E").lastFailure.value().outcome, UploadFailure::Outcome::waiting);
    expectBalanced("E2E");
}

TEST_F(LimitsTest, WhatIsInARequestCountsOnceItComesBack)
{
    const auto channel = addChannel("E2E", 2);
    setLimits(channel, { .events = 2 });
    simulated().httpClient().setAnswers({ failure().after(5s) }, true);
    append("E2E", 1, 2);
    append("E2E", 3);
    EXPECT_EQ(overLimit("E2E"), 0);

    simulated().advance(5s);
    // The batch goes, and not the event, although that arrived later than the batch was made.
    EXPECT_THAT(waiting(channel), IsEmpty());
    EXPECT_THAT(pending(channel), ElementsAre(3));
    EXPECT_EQ(overLimit("E2E"), 2);
    expectBalanced("E2E");
}

TEST_F(LimitsTest, WhatATickHasCopiedIsInARequest)
{
    answerAll(success());
    // The URL hook runs between the tick's copy and its clearing.
    const auto channel
        = std::make_shared<TrackerConfig>("MP", 1000, StringDictionary(), Array(), false, [] {
              manager().appendTracker(event(12), "MP");
              manager().appendTracker(event(13), "MP");
              manager().appendTracker(event(14), "MP");
              return "http://collector.example/MP";
          });
    manager().register_(channel);
    setLimits(channel, { .events = 2 });
    append("MP", 10, 2);
    manager().timerEventHandler(channel);
    simulated().runUntilIdle();

    EXPECT_THAT(numbersIn(0), ElementsAre(10, 11));
    const LedgerSnapshot ledger = ledgerOf("MP");
    EXPECT_EQ(ledger.events.delivered, 2);
    EXPECT_EQ(ledger.events.dropped.overLimit, 1);
    EXPECT_EQ(ledger.events.dropped.clearedAfterCopy, 2);
    expectBalanced("MP");
}

TEST_F(LimitsTest, BytesAreThoseOfTheEventsTextAndOfTheWholeBatch)
{
    const auto channel = addChannel("E2E");
    // {"number":1} has 12 bytes.
    setLimits(channel, { .bytes = 36 });
    append("E2E", 1, 3);
    EXPECT_EQ(overLimit("E2E"), 0);
    append("E2E", 4);
    EXPECT_THAT(pending(channel), ElementsAre(2, 3, 4));

    setLimits(channel, {});
    channel->setRetryPolicy(RetryPolicy { .first = 1h, .longest = 1h });
    failBatch(channel, 5, 5);
    // {"data-list":[, four events with three commas, and ]}
    const std::uint64_t batch = 14 + 4 * 12 + 3 + 2;
    setLimits(channel, { .bytes = batch });
    EXPECT_EQ(waiting(channel).size(), 1u);
    setLimits(channel, { .bytes = batch - 1 });
    EXPECT_THAT(waiting(channel), IsEmpty());
    expectBalanced("E2E");
}

TEST_F(LimitsTest, ACompressedBatchCountsAsIfItWereNot)
{
    const auto channel = addChannel("E2E");
    channel->setBodyEncoding(BodyEncoding::gzip);
    failBatch(channel, 1, 900);
    setLimits(channel, { .bytes = 10'000 });

    EXPECT_THAT(waiting(channel), IsEmpty());
    EXPECT_EQ(overLimit("E2E"), 900);
}

TEST_F(LimitsTest, WithALimitOfNothingEverythingIsDropped)
{
    int number = 0;
    for (const Limits& limits : { Limits { .events = 0 }, Limits { .bytes = 0 },
             Limits { .events = 0, .drop = DropFirst::newest },
             Limits { .bytes = 0, .drop = DropFirst::newest } }) {
        const std::string index = "channel " + std::to_string(++number);
        const auto channel = addChannel(index, 1);
        setLimits(channel, limits);
        append(index, 1, 3);

        EXPECT_EQ(overLimit(index), 3);
        EXPECT_TRUE(channel->apiDatas().empty());
    }
    EXPECT_EQ(requestCount(), 0u);
}

TEST_F(LimitsTest, WithALimitOfNoBatchAFailureIsTheEndOfABatch)
{
    for (const DropFirst drop : { DropFirst::oldest, DropFirst::newest }) {
        const std::string index = drop == DropFirst::oldest ? "oldest" : "newest";
        const auto channel = addChannel(index);
        setLimits(channel, { .batches = 0, .drop = drop });
        failBatch(channel, 1, 2);

        EXPECT_EQ(ledgerOf(index).batches.dropped.overLimit, 1);
        EXPECT_EQ(overLimit(index), 2);
        expectBalanced(index);
    }
}

TEST_F(LimitsTest, WhatIsTooMuchByItselfIsDroppedAlone)
{
    const auto channel = addChannelWithBatch("E2E", 1, 2);
    channel->setRetryPolicy(RetryPolicy { .first = 1h, .longest = 1h });
    append("E2E", 3);
    setLimits(channel, { .bytes = 100 });
    manager().appendTracker({ { "long", std::string(100, 'x') } }, "E2E");
    simulated().runUntilIdle();
    EXPECT_EQ(overLimit("E2E"), 1);

    setLimits(channel, { .events = 5 });
    append("E2E", 4, 2);
    channel->insert(
        std::make_shared<TrackerRetryData>(makeBatch({ { "data-list", Array(6, event(9)) } }), 1));
    simulated().runUntilIdle();
    EXPECT_EQ(overLimit("E2E"), 7);

    EXPECT_THAT(waiting(channel), ElementsAre(ElementsAre(1, 2)));
    EXPECT_THAT(pending(channel), ElementsAre(3, 4, 5));
    expectBalanced("E2E");
}

TEST_F(LimitsTest, EntriesOfTheHostCountLikeOthers)
{
    const auto channel = addChannel("E2E");
    const auto insert = [&](std::int64_t number) {
        channel->insert(std::make_shared<TrackerRetryData>(
            makeBatch({ { "data-list", { event(number) } } }), 1));
        simulated().runUntilIdle();
        simulated().advance(1s);
    };
    setLimits(channel, { .batches = 2 });
    for (const std::int64_t number : { 1, 2, 3 })
        insert(number);
    EXPECT_THAT(waiting(channel), ElementsAre(ElementsAre(2), ElementsAre(3)));

    setLimits(channel, { .batches = 2, .drop = DropFirst::newest });
    insert(4);
    EXPECT_THAT(waiting(channel), ElementsAre(ElementsAre(2), ElementsAre(3)));

    // {"data-list":[{"number":2}]} has 28 bytes.
    setLimits(channel, { .bytes = 28 });
    EXPECT_THAT(waiting(channel), ElementsAre(ElementsAre(3)));

    const TrackerRetryEntry popped = channel->popRetryData();
    channel->insert(popped);
    simulated().runUntilIdle();
    EXPECT_THAT(waiting(channel), ElementsAre(ElementsAre(3)));
    EXPECT_EQ(overLimit("E2E"), 3);
    EXPECT_EQ(ledgerOf("E2E").batches.dropped.overLimit, 3);
    expectBalanced("E2E");
}

TEST_F(LimitsTest, ABatchThatDoesNotHelpStays)
{
    const auto channel = addChannel("E2E");
    channel->insert(std::make_shared<TrackerRetryData>(makeBatch({ { "no", "events" } }), 1));
    channel->setRetryPolicy(RetryPolicy { .first = 1h, .longest = 1h });
    setLimits(channel, { .events = 1 });
    append("E2E", 1, 2);

    EXPECT_EQ(channel->retryCache().size(), 1u);
    EXPECT_THAT(pending(channel), ElementsAre(2));
}

TEST_F(LimitsTest, ALowerLimitHoldsAtOnce)
{
    for (const DropFirst drop : { DropFirst::oldest, DropFirst::newest }) {
        const bool isOldest = drop == DropFirst::oldest;
        const std::string index = isOldest ? "oldest" : "newest";
        const auto channel = addChannelWithBatch(index, 1, 2);
        channel->setRetryPolicy(RetryPolicy { .first = 1h, .longest = 1h });
        failBatch(channel, 3, 4);
        append(index, 5, 4);
        setLimits(channel, { .events = 6, .drop = drop });
        if (isOldest) {
            EXPECT_THAT(waiting(channel), ElementsAre(ElementsAre(3, 4)));
            EXPECT_THAT(pending(channel), ElementsAre(5, 6, 7, 8));
        } else {
            EXPECT_EQ(waiting(channel).size(), 2u);
            EXPECT_THAT(pending(channel), ElementsAre(5, 6));
        }
        setLimits(channel, { .events = 3, .drop = drop });
        if (isOldest) {
            EXPECT_THAT(waiting(channel), IsEmpty());
            EXPECT_THAT(pending(channel), ElementsAre(6, 7, 8));
        } else {
            EXPECT_THAT(waiting(channel), ElementsAre(ElementsAre(1, 2)));
            EXPECT_THAT(pending(channel), IsEmpty());
        }
        expectBalanced(index);
    }
}

TEST_F(LimitsTest, RecordsKeepWithinLimitsAndTheProviderGetsThemAll)
{
    const auto channel = addChannel("APM");
    setLimits(channel, { .events = 1, .drop = DropFirst::newest });
    manager().enrollLaunchTrack(Launch { .ct = 12ms });
    manager().enrollLaunchTrack(Launch { .ct = 12ms });
    simulated().runUntilIdle();
    EXPECT_EQ(overLimit("APM"), 1);

    const auto provider = installProvider();
    manager().enrollLaunchTrack(Launch { .ct = 12ms });
    simulated().runUntilIdle();
    EXPECT_EQ(provider->contents.size(), 1u);
    EXPECT_EQ(overLimit("APM"), 1);
}

TEST_F(LimitsTest, TheOtherReasonsComeFirst)
{
    const auto channel = addChannel("E2E");
    channel->setNonFiniteCost(NonFiniteCost::event);
    setLimits(channel, { .events = 0 });
    manager().appendTracker({ { "number", std::numeric_limits<double>::infinity() } }, "E2E");
    TrackerManager::setEnabled(false);
    append("E2E", 1);

    EXPECT_EQ(ledgerOf("E2E").events.dropped.notFinite, 1);
    EXPECT_EQ(ledgerOf("E2E").events.dropped.disabled, 1);
    EXPECT_EQ(overLimit("E2E"), 0);
}

TEST_F(LimitsTest, MayBeSetByAClosureOfTheHost)
{
    const auto channel = addChannel("E2E");
    TrackerManager::setTriggerCallback([channel](const Dictionary& event, const std::string&) {
        if (event.at("number") == 3) {
            channel->setLimits({ .events = 1 });
            TrackerManager::setLimits({ .events = 1 });
        }
    });
    append("E2E", 1, 3);

    EXPECT_THAT(pending(channel), ElementsAre(3));
    EXPECT_EQ(overLimit("E2E"), 2);
}

TEST_F(LimitsTest, TheDiagnosticsGatherWhatIsDropped)
{
    const auto channel = addChannel("E2E");
    setLimits(channel, { .events = 1 });
    const auto handled = std::make_shared<Handled>();
    TrackerManager::setDiagnosticsHandler(
        [handled](const Diagnostic& diagnostic) { handled->push_back(diagnostic); });
    append("E2E", 1, 101);
    simulated().advance(2s);

    std::int64_t events = 0;
    for (const Diagnostic& diagnostic : *handled) {
        EXPECT_EQ(diagnostic.kind, Diagnostic::Kind::eventsDropped);
        EXPECT_EQ(diagnostic.dropReason, DropReason::overLimit);
        events += diagnostic.events;
    }
    EXPECT_EQ(events, 100);
    EXPECT_LE(handled->size(), 2u);
}

TEST_F(LimitsTest, ADroppedBatchOfAPatientChannelIsNotKeptInMemory)
{
    const auto channel = addChannelWithBatch("E2E", 1, 2);
    channel->setRetryPolicy(RetryPolicy { .first = 1h, .longest = 1h });
    const std::weak_ptr<TrackerRetryData> batch = channel->retryCache().entries().front();
    ASSERT_FALSE(batch.expired());
    setLimits(channel, { .batches = 0 });

    EXPECT_TRUE(batch.expired());
}

TEST_F(LimitsTest, APolicyThatIsSetAgainLeavesTheBatchesWhereTheyAre)
{
    const auto channel = addChannelWithBatch("E2E", 1, 2);
    setLimits(channel, { .events = 4, .drop = DropFirst::newest });
    for (int round = 0; round < 3; ++round) {
        channel->setRetryPolicy(RetryPolicy { .tries = {}, .first = 1h, .longest = 1h });
        append("E2E", 3, 3);
        EXPECT_EQ(waiting(channel).size(), 1u);
        EXPECT_THAT(pending(channel), ElementsAre(3, 4));
    }
    const std::size_t before = requestCount();
    simulated().advance(61min);
    EXPECT_EQ(requestCount(), before + 1);
    expectBalanced("E2E");
}

} // namespace
} // namespace telvora
