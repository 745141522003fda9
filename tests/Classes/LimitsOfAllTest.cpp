#include <tests/Classes/LimitsHost.h>

#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

// What all channels together keep at most, beside the limits of each.

namespace telvora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class LimitsOfAllTest : public LimitsHost { };

TEST_F(LimitsOfAllTest, TakenAwayNothingIsDroppedAnyMore)
{
    const auto channel = addChannel("E2E");
    setLimits(channel, { .events = 1 });
    setLimitsOfAll({ .events = 1 });
    append("E2E", 1, 2);
    setLimits(channel, {});
    setLimitsOfAll({});
    append("E2E", 3, 2);

    EXPECT_THAT(pending(channel), ElementsAre(2, 3, 4));
}

TEST_F(LimitsOfAllTest, AllTogetherDropInTheOrderOfArrival)
{
    const auto a = addChannel("a");
    const auto b = addChannel("b");
    // Before the limit is set, too.
    append("a", 1);
    append("b", 2);
    append("a", 3);
    append("b", 4, 2);
    setLimitsOfAll({ .events = 3 });
    EXPECT_THAT(pending(a), ElementsAre(3));
    EXPECT_THAT(pending(b), ElementsAre(4, 5));

    append("a", 6);
    append("a", 7);
    EXPECT_THAT(pending(a), ElementsAre(6, 7));
    EXPECT_THAT(pending(b), ElementsAre(5));
    EXPECT_EQ(overLimit("a"), 2);
    EXPECT_EQ(overLimit("b"), 2);

    setLimitsOfAll({ .events = 2, .drop = DropFirst::newest });
    EXPECT_THAT(pending(a), ElementsAre(6));
    EXPECT_THAT(pending(b), ElementsAre(5));
    append("b", 8);
    EXPECT_THAT(pending(b), ElementsAre(5));
    expectBalanced("a");
    expectBalanced("b");
}

TEST_F(LimitsOfAllTest, AllTogetherDropBatchesOfEveryChannelBeforeEvents)
{
    const auto a = addChannelWithBatch("a", 1, 2);
    const auto b = addChannelWithBatch("b", 3, 4);
    const auto c = addChannelWithBatch("c", 5, 6);
    for (const auto& channel : { a, b, c })
        channel->setRetryPolicy(RetryPolicy { .first = 1h, .longest = 1h });
    append("b", 7, 2);
    setLimitsOfAll({ .events = 5 });
    EXPECT_THAT(waiting(a), IsEmpty());
    EXPECT_THAT(waiting(b), IsEmpty());
    EXPECT_EQ(waiting(c).size(), 1u);
    EXPECT_THAT(pending(b), ElementsAre(7, 8));

    setLimitsOfAll({ .batches = 0, .drop = DropFirst::newest });
    EXPECT_THAT(waiting(c), IsEmpty());
    EXPECT_THAT(pending(b), ElementsAre(7, 8));
}

TEST_F(LimitsOfAllTest, AChannelKeepsWithinItsOwnLimitsAndThoseOfAll)
{
    const auto a = addChannel("a");
    addChannel("b");
    setLimits(a, { .events = 2, .drop = DropFirst::newest });
    setLimitsOfAll({ .events = 3 });
    append("a", 1, 3);
    EXPECT_THAT(pending(a), ElementsAre(1, 2));
    append("b", 4, 2);
    EXPECT_THAT(pending(a), ElementsAre(2));
    append("a", 6);
    EXPECT_THAT(pending(a), ElementsAre(6));
    EXPECT_EQ(overLimit("a"), 3);
    EXPECT_EQ(overLimit("b"), 0);
}

TEST_F(LimitsOfAllTest, FirstEventsOfAChannelKeepWithinLimits)
{
    setLimitsOfAll({ .events = 2 });
    const auto channel = std::make_shared<TrackerConfig>("E2E", 1000, StringDictionary(),
        Array { event(1), event(2), event(3) }, false, [] { return "http://collector.example/"; });
    manager().register_(channel);
    simulated().runUntilIdle();

    EXPECT_THAT(pending(channel), ElementsAre(2, 3));
    EXPECT_EQ(overLimit("E2E"), 1);
}

// A full list is sent between a tick's copy and its clearing.
TEST_F(LimitsOfAllTest, ATickInTheMiddleOfASentListCountsNothingTwice)
{
    const auto other = addChannel("other");
    const auto channel = std::make_shared<TrackerConfig>(
        "E2E", 3, StringDictionary(), Array(), false, [isFirst = true]() mutable {
            if (std::exchange(isFirst, false)) {
                manager().appendTracker(event(3), "E2E");
                manager().appendTracker(event(4), "other");
                manager().appendTracker(event(5), "other");
                manager().appendTracker(event(6), "other");
            }
            return "http://collector.example/E2E";
        });
    manager().register_(channel);
    answerAll(ScriptedAnswer::later());
    setLimitsOfAll({ .bytes = 24, .drop = DropFirst::newest });
    append("E2E", 1, 2);
    manager().timerEventHandler(channel);
    simulated().runUntilIdle();

    EXPECT_THAT(pending(other), ElementsAre(4, 5));
}

// Whatever happens, no limit is broken once the work is done, and every event is accounted for.
TEST_F(LimitsOfAllTest, RandomWorkKeepsWithinRandomLimits)
{
    std::mt19937 random(17);
    const auto upTo = [&](std::uint64_t highest) { return random() % (highest + 1); };
    std::vector<std::shared_ptr<TrackerConfig>> channels;
    for (const char* index : { "a", "b", "c" })
        channels.push_back(addChannel(index, 7));
    channels[2]->setRetryPolicy(RetryPolicy { .tries = 3, .first = 5s });
    channels[1]->setBodyEncoding(BodyEncoding::gzip);
    const auto randomLimits = [&] {
        Limits limits;
        if (upTo(1) == 0)
            limits.events = upTo(30);
        if (upTo(2) == 0)
            limits.batches = upTo(4);
        if (upTo(2) == 0)
            limits.bytes = upTo(1500);
        limits.drop = upTo(1) == 0 ? DropFirst::oldest : DropFirst::newest;
        return limits;
    };
    struct Kept {
        std::int64_t events = 0;
        std::int64_t batches = 0;
        std::int64_t bytes = 0;
    };
    const auto keptBy = [](const std::shared_ptr<TrackerConfig>& channel) {
        Kept kept;
        for (const Value& event : channel->apiDatas()) {
            ++kept.events;
            kept.bytes += static_cast<std::int64_t>(encode(event).value().size());
        }
        for (const TrackerRetryEntry& entry : channel->retryCache().entries()) {
            ++kept.batches;
            kept.events
                += static_cast<std::int64_t>(entry->data->at("data-list").as_array().size());
            kept.bytes += static_cast<std::int64_t>(encode(*entry->data).value().size());
        }
        return kept;
    };
    const auto expectWithin = [](const Kept& kept, const Limits& limits) {
        if (limits.events) {
            EXPECT_LE(kept.events, static_cast<std::int64_t>(*limits.events));
        }
        if (limits.batches) {
            EXPECT_LE(kept.batches, static_cast<std::int64_t>(*limits.batches));
        }
        if (limits.bytes) {
            EXPECT_LE(kept.bytes, static_cast<std::int64_t>(*limits.bytes));
        }
    };
    for (int step = 0; step < 3000 && !HasFailure(); ++step) {
        const auto& channel = channels[upTo(2)];
        switch (upTo(7)) {
        case 0:
            channel->setLimits(randomLimits());
            break;
        case 1:
            TrackerManager::setLimits(randomLimits());
            break;
        case 2:
            manager().timerEventHandler(channel);
            break;
        case 3:
            simulated().advance(std::chrono::seconds(upTo(20)));
            break;
        case 4:
            simulated().httpClient().setAnswers(
                { upTo(3) == 0 ? success() : failure(), failure().after(3s) }, true);
            break;
        default:
            append(channel->index(), step, static_cast<std::int64_t>(upTo(5)));
        }
        simulated().runUntilIdle();
        Kept all;
        for (const auto& each : channels) {
            const Kept kept = keptBy(each);
            const LedgerAccount account = ledgerOf(each->index()).events;
            EXPECT_EQ(kept.events, account.pending + account.waiting);
            expectWithin(kept, each->limits());
            expectBalanced(each->index());
            all.events += kept.events;
            all.batches += kept.batches;
            all.bytes += kept.bytes;
        }
        expectWithin(all, TrackerManager::limits());
    }
    EXPECT_GT(overLimit("a"), 0);
    EXPECT_GT(ledgerOf("a").events.delivered, 0);
}

} // namespace
} // namespace telvora
