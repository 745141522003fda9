#include <tests/Classes/AllocationFault.h>

#include <Telvora/Base/EventBuilder.h>
#include <Telvora/Base/Gzip.h>
#include <Telvora/Classes/TrackerManager.h>
#include <tests/Base/JSONTesting.h>
#include <tests/Classes/ImmediatePlatform.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>

// Each allocation of an operation fails once, each time with a new channel. Nothing is thrown, the
// ledger is correct, and nothing is sent twice.

namespace telvora {
namespace {

using Channel = std::shared_ptr<TrackerConfig>;
using Manner = ImmediateClient::Manner;

TrackerManager& manager()
{
    return TrackerManager::shared();
}

std::int64_t s_nextNumber = 0;

// The text is so long that each copy of the event allocates memory for it.
Dictionary makeEvent()
{
    return { { "number", s_nextNumber++ }, { "text", "long enough to need memory of its own" } };
}

// Its text is not UTF-8, so that the list keeps the event as well.
Dictionary makeWholeEvent()
{
    Dictionary event = makeEvent();
    event["bytes"] = "\xFF";
    return event;
}

// The arguments of an operation, made before anything fails.
struct Given {
    Channel channel;
    Dictionary event = makeEvent();
    Dictionary wholeEvent = makeWholeEvent();
    EventBuilder built { event };
    std::string index = channel->index();
};

// One operation, and the preparation of its channel.
struct Scenario {
    std::string name;
    std::int64_t maxLimit;
    Manner manner;
    // How many events the channel has got at the end, including those of the preparation.
    std::int64_t eventCount;
    std::function<void(const Channel&)> prepare;
    std::function<void(Given&)> run;
};

std::ostream& operator<<(std::ostream& out, const Scenario& scenario)
{
    return out << scenario.name;
}

void nothing(const Channel&) { }

void append(const Channel& channel)
{
    manager().appendTracker(makeEvent(), channel->index());
}

void appendTwo(const Channel& channel)
{
    append(channel);
    append(channel);
}

void letABatchFail(const Channel& channel)
{
    append(channel);
    immediate().client.manner = Manner::refuses;
    manager().timerEventHandler(channel);
    immediate().client.manner = Manner::accepts;
}

void appendGiven(Given& given)
{
    manager().appendTracker(std::move(given.event), std::move(given.index));
}

void appendCopy(Given& given)
{
    manager().appendTracker(given.event, std::move(given.index));
}

void appendWhole(Given& given)
{
    manager().appendTracker(std::move(given.wholeEvent), std::move(given.index));
}

void appendBuilt(Given& given)
{
    manager().appendTracker(std::move(given.built), std::move(given.index));
}

void appendEmptyBuilder(Given& given)
{
    manager().appendTracker(EventBuilder(), std::move(given.index));
}

void compressAndAppendTwo(const Channel& channel)
{
    channel->setBodyEncoding(BodyEncoding::gzip);
    appendTwo(channel);
}

void letABatchFailAndLimit(const Channel& channel)
{
    letABatchFail(channel);
    channel->setLimits({ .events = 1 });
}

void limitAndAppendTwo(const Channel& channel)
{
    channel->setLimits({ .events = 3 });
    appendTwo(channel);
}

void allowNoBatchAndAppendTwo(const Channel& channel)
{
    channel->setLimits({ .batches = 0, .drop = DropFirst::newest });
    appendTwo(channel);
}

void insertAnEntryWithoutData(const Channel& channel)
{
    channel->insert(std::make_shared<TrackerRetryData>(nullptr, 1));
}

void flush(Given& given)
{
    manager().timerEventHandler(given.channel);
}

// These operations only move an event into a block before the intake.
const std::vector<Scenario> intakes {
    { "anEventBelowTheLimit", 10, Manner::accepts, 2, letABatchFail, appendGiven },
    { "anEventThatFillsTheList", 3, Manner::accepts, 3, appendTwo, appendGiven },
    { "aFullListThatIsRefused", 3, Manner::refuses, 3, appendTwo, appendGiven },
    { "anEventThatIsKeptWhole", 10, Manner::accepts, 1, nothing, appendWhole },
    { "aFullListWithAnEventThatIsKeptWhole", 3, Manner::accepts, 3, appendTwo, appendWhole },
    { "aFullListThatIsCompressed", 3, Manner::refuses, 3, compressAndAppendTwo, appendGiven },
    { "anEventForWhichABatchIsDropped", 10, Manner::accepts, 2, letABatchFailAndLimit,
        appendGiven },
    { "aFullListThatIsRefusedWithinLimits", 3, Manner::refuses, 3, limitAndAppendTwo, appendGiven },
    { "aFullListThatMayNotComeBack", 3, Manner::refuses, 3, allowNoBatchAndAppendTwo, appendGiven },
};

const std::vector<Scenario> otherOperations {
    { "anEventOfTheHostsOwn", 10, Manner::accepts, 1, nothing, appendCopy },
    { "aBuiltEvent", 3, Manner::accepts, 3, appendTwo, appendBuilt },
    { "anEmptyBuilder", 10, Manner::accepts, 1, nothing, appendEmptyBuilder },
    { "aFlush", 10, Manner::accepts, 2, appendTwo, flush },
    { "aFlushThatIsRefused", 10, Manner::refuses, 2, appendTwo, flush },
    { "aRetry", 10, Manner::accepts, 1, letABatchFail, flush },
    { "aRetryWithoutData", 10, Manner::accepts, 0, insertAnEntryWithoutData, flush },
    { "aRetryThatIsRefused", 10, Manner::refuses, 1, letABatchFail, flush },
};

class AllocationFaultTest : public testing::TestWithParam<Scenario> {
protected:
    AllocationFaultTest()
    {
        immediate();
        TrackerManager::setTriggerCallback(
            [whole = wholeEvents](const Dictionary& event, const std::string&) {
                *whole += event.contains("number");
            });
    }

    Channel addChannel(std::int64_t maxLimit)
    {
        const std::string index = "channel " + std::to_string(channelCount++);
        auto channel = std::make_shared<TrackerConfig>(index, maxLimit,
            StringDictionary { { "x-channel", index } }, Array(), false,
            [] { return "http://collector.example/a/path/that/needs/memory"; });
        manager().register_(channel);
        manager().setupCommonDatas(
            { { "os", "a name that needs memory of its own" } }, "data", index);
        return channel;
    }

    // Runs the scenario with one failing allocation. False when it made fewer allocations.
    bool runWithout(int spared, const Channel& channel)
    {
        Given given { channel };
        immediate().client.manner = GetParam().manner;
        bool hasStruck = false;
        {
            const AllocationFault fault(spared);
            GetParam().run(given);
            hasStruck = fault.hasStruck();
        }
        immediate().client.manner = Manner::accepts;
        return hasStruck;
    }

    static void expectSound(const Channel& channel)
    {
        const LedgerSnapshot ledger = channel->ledger();
        EXPECT_EQ(ledger.events.accepted, ledger.events.accountedFor());
        EXPECT_EQ(ledger.batches.accepted, ledger.batches.accountedFor());
        EXPECT_EQ(ledger.events.inFlight, 0);
        EXPECT_EQ(ledger.events.pending, static_cast<std::int64_t>(channel->apiDatas().size()));
        EXPECT_EQ(ledger.batches.waiting, static_cast<std::int64_t>(channel->retryCache().size()));
        EXPECT_EQ(immediate().dispatch.escapedCount(), 0);
        EXPECT_EQ(immediate().client.escapedCount, 0);
    }

    // The numbers of all events in the batches that the collector has accepted.
    static std::vector<std::int64_t> acceptedNumbers()
    {
        std::vector<std::int64_t> numbers;
        for (const std::string& body : immediate().client.accepted) {
            const Decoded batch = decode(detail::gunzipped(body).value_or(body));
            for (const Value& event : batch.value->at("data").as_array()) {
                if (const Value* number = event.as_object().if_contains("number"))
                    numbers.push_back(number->as_int64());
            }
        }
        return numbers;
    }

    // How many complete events the trigger callback has seen. Shared with the callback.
    const std::shared_ptr<int> wholeEvents = std::make_shared<int>(0);
    int channelCount = 0;
};

std::string nameOf(const testing::TestParamInfo<Scenario>& scenario)
{
    return scenario.param.name;
}

INSTANTIATE_TEST_SUITE_P(Intakes, AllocationFaultTest, testing::ValuesIn(intakes), nameOf);
INSTANTIATE_TEST_SUITE_P(
    Operations, AllocationFaultTest, testing::ValuesIn(otherOperations), nameOf);

using IntakeFaultTest = AllocationFaultTest;
INSTANTIATE_TEST_SUITE_P(Intakes, IntakeFaultTest, testing::ValuesIn(intakes), nameOf);

TEST_P(IntakeFaultTest, CallsTheTriggerForEveryEventInTheQueueWhicheverAllocationFails)
{
    constexpr int placeInTheQueue = 1;
    for (int spared = placeInTheQueue;; ++spared) {
        const Channel channel = addChannel(GetParam().maxLimit);
        GetParam().prepare(channel);
        const int before = *wholeEvents;

        const bool hasStruck = runWithout(spared, channel);

        ASSERT_EQ(*wholeEvents, before + 1) << "with allocation " << spared;
        if (!hasStruck)
            return;
    }
}

// A builder that the host uses again must not have the fields of the last event.
TEST(BuilderFaultTest, ABuilderThatWasHandedOverIsEmptyAlsoIfThereWasNoMemory)
{
    immediate();
    manager();
    bool hasStruck = true;
    for (int spared = 0; hasStruck; ++spared) {
        EventBuilder event(makeEvent());
        {
            const AllocationFault fault(spared);
            manager().enrollE2ETrack(std::move(event));
            hasStruck = fault.hasStruck();
        }
        EXPECT_EQ(detail::bytesOf(event), 0u);
    }
}

TEST_P(AllocationFaultTest, LeavesTheChannelConsistentWhicheverAllocationFails)
{
    for (int spared = 0;; ++spared) {
        const Channel channel = addChannel(GetParam().maxLimit);
        GetParam().prepare(channel);

        const bool hasStruck = runWithout(spared, channel);

        expectSound(channel);
        if (HasFailure())
            FAIL() << "with allocation " << spared;
        if (!hasStruck)
            return;
    }
}

TEST_P(AllocationFaultTest, HandsNoEventToTheCollectorTwiceWhicheverAllocationFails)
{
    for (int spared = 0;; ++spared) {
        const Channel channel = addChannel(GetParam().maxLimit);
        GetParam().prepare(channel);
        const bool hasStruck = runWithout(spared, channel);

        for (int ticks = 0; ticks < 3; ++ticks)
            manager().timerEventHandler(channel);

        const auto numbers = acceptedNumbers();
        const std::set<std::int64_t> different(numbers.begin(), numbers.end());
        EXPECT_EQ(numbers.size(), different.size()) << "with allocation " << spared;
        if (!hasStruck || HasFailure())
            return;
    }
}

TEST_P(AllocationFaultTest, DelaysOrCountsEveryEventWhicheverAllocationFails)
{
    for (int spared = 0;; ++spared) {
        const Channel channel = addChannel(GetParam().maxLimit);
        GetParam().prepare(channel);
        const bool hasStruck = runWithout(spared, channel);

        for (int ticks = 0; ticks < 3; ++ticks)
            manager().timerEventHandler(channel);

        const LedgerAccount events = channel->ledger().events;
        ASSERT_EQ(events.accepted, GetParam().eventCount) << "with allocation " << spared;
        ASSERT_EQ(events.accepted,
            events.delivered + events.dropped.internalError + events.dropped.overLimit)
            << spared;
        if (!hasStruck) {
            EXPECT_EQ(events.dropped.internalError, 0);
            return;
        }
    }
}

} // namespace
} // namespace telvora
