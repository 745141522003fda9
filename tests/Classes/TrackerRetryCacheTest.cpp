#include <tests/Classes/SimulatedHost.h>

namespace telvora {
namespace {

class TrackerRetryCacheTest : public SimulatedHost {
protected:
    static TrackerRetryEntry entry(
        std::int64_t retryCount, double timestamp, std::int64_t number = 0)
    {
        auto made
            = std::make_shared<TrackerRetryData>(makeBatch({ { "number", number } }), retryCount);
        made->timestamp = timestamp;
        return made;
    }

    static std::int64_t numberOf(const TrackerRetryEntry& entry)
    {
        return entry->data->at("number").as_int64();
    }

    using Order = std::vector<std::int64_t>;

    // The orders in which 1, 2, 3 ... entries with equal count and time are popped. The entries are
    // numbered in the order of insertion.
    std::vector<Order> ordersOfEqualEntries(std::int64_t most)
    {
        std::vector<Order> orders;
        for (std::int64_t count = 1; count <= most; ++count) {
            for (std::int64_t number = 1; number <= count; ++number)
                cache.insert(entry(1, 10, number));
            Order& order = orders.emplace_back();
            while (const TrackerRetryEntry popped = cache.pop())
                order.push_back(numberOf(popped));
        }
        return orders;
    }

    TrackerRetryCache cache;
};

using TrackerRetryCacheQuirk = TrackerRetryCacheTest;
using TrackerRetryDataTest = TrackerRetryCacheTest;
using TrackerRetryDataQuirk = TrackerRetryCacheTest;

TEST_F(TrackerRetryDataTest, HasTheTimeOfItsMakingAndThreeRetries)
{
    simulated().setWallTime(1234.5);

    const TrackerRetryData data(makeBatch({}), 2);

    EXPECT_EQ(data.timestamp, 1234.5);
    EXPECT_EQ(data.retryCount, 2);
    EXPECT_EQ(data.maxRetryCount, 3);
}

TEST_F(TrackerRetryDataTest, AnEntryWithFewerFailuresIsLessAndAmongEqualsTheLaterOne)
{
    EXPECT_LT(*entry(1, 5), *entry(2, 9));
    EXPECT_GT(*entry(2, 9), *entry(1, 5));
    EXPECT_LT(*entry(1, 9), *entry(1, 5));
    EXPECT_FALSE(*entry(1, 5) < *entry(1, 9));
}

TEST_F(TrackerRetryDataTest, EntriesWithEqualCountAndTimeAreEqual)
{
    EXPECT_EQ(*entry(1, 5, 7), *entry(1, 5, 8));
    EXPECT_FALSE(*entry(1, 5) == *entry(2, 5));
    EXPECT_FALSE(*entry(1, 5) == *entry(1, 6));
}

TEST_F(TrackerRetryDataQuirk, TwoEqualEntriesAreEachLessThanTheOther)
{
    EXPECT_LT(*entry(1, 5), *entry(1, 5));
    EXPECT_FALSE(*entry(1, 5) <= *entry(1, 5));
}

TEST_F(TrackerRetryCacheTest, AnEmptyCacheReturnsNullAndStaysEmpty)
{
    EXPECT_EQ(cache.pop(), nullptr);
    simulated().runUntilIdle();
    EXPECT_EQ(cache.size(), 0u);
}

TEST_F(TrackerRetryCacheTest, MostFailuresComeOutFirst)
{
    cache.insert(entry(1, 1));
    cache.insert(entry(3, 2));
    cache.insert(entry(2, 3));

    EXPECT_EQ(cache.pop()->retryCount, 3);
    EXPECT_EQ(cache.pop()->retryCount, 2);
    EXPECT_EQ(cache.pop()->retryCount, 1);
    EXPECT_EQ(cache.pop(), nullptr);
}

TEST_F(TrackerRetryCacheTest, EqualCountsPopOldestFirst)
{
    cache.insert(entry(1, 20));
    cache.insert(entry(1, 10));
    cache.insert(entry(1, 30));

    EXPECT_EQ(cache.pop()->timestamp, 10);
    EXPECT_EQ(cache.pop()->timestamp, 20);
    EXPECT_EQ(cache.pop()->timestamp, 30);
}

TEST_F(TrackerRetryCacheQuirk, AmongFullyEqualEntriesTheNewestRisesToTheTop)
{
    cache.insert(entry(1, 10, 1));
    cache.insert(entry(1, 10, 2));

    EXPECT_EQ(numberOf(cache.pop()), 2);
    EXPECT_EQ(numberOf(cache.pop()), 1);
}

TEST_F(TrackerRetryCacheQuirk, ASinkTakesTheRightOneOfTwoEqualChildren)
{
    // Each new entry rises to the root: the heap is 4, 3, 2, 1 in level order. After the root is
    // popped, 1 sinks below the right child.
    EXPECT_EQ(ordersOfEqualEntries(4).back(), (Order { 4, 2, 3, 1 }));
}

TEST_F(TrackerRetryCacheQuirk, FullyEqualEntriesArePoppedInTheOrderOfTheHeap)
{
    const std::vector<Order> expected {
        { 1 },
        { 2, 1 },
        { 3, 1, 2 },
        { 4, 2, 3, 1 },
        { 5, 2, 3, 4, 1 },
        { 6, 5, 2, 3, 4, 1 },
        { 7, 6, 2, 5, 3, 4, 1 },
    };

    EXPECT_EQ(ordersOfEqualEntries(7), expected);
}

TEST_F(TrackerRetryCacheQuirk, APopOfAnEmptyCacheQueuesARemoval)
{
    simulated().setHold(true);

    EXPECT_EQ(cache.pop(), nullptr);

    EXPECT_EQ(simulated().dispatch().readyBarrierCount(), 1u);
}

TEST_F(TrackerRetryCacheTest, KeepsAThousandFailedBatches)
{
    for (int number = 0; number < 1000; ++number)
        cache.insert(entry(1, number, number));
    simulated().runUntilIdle();

    EXPECT_EQ(cache.size(), 1000u);
    for (int number = 0; number < 1000; ++number)
        ASSERT_EQ(numberOf(cache.pop()), number);
}

TEST_F(TrackerRetryCacheTest, APopSeesTheInsertBeforeItAndSizeDoesNotYet)
{
    simulated().setHold(true);
    cache.insert(entry(1, 10));
    EXPECT_EQ(cache.size(), 0u);

    EXPECT_NE(cache.pop(), nullptr);

    // The removal is a separate step.
    EXPECT_EQ(cache.size(), 1u);
    simulated().setHold(false);
    simulated().runUntilIdle();
    EXPECT_EQ(cache.size(), 0u);
}

TEST_F(TrackerRetryCacheTest, EntriesAreListedInTheOrderOfPoppingAndStay)
{
    cache.insert(entry(1, 20, 1));
    cache.insert(entry(3, 30, 2));
    cache.insert(entry(1, 10, 3));
    simulated().runUntilIdle();

    std::vector<std::int64_t> order;
    for (const auto& listed : cache.entries())
        order.push_back(numberOf(listed));

    EXPECT_EQ(order, (std::vector<std::int64_t> { 2, 3, 1 }));
    EXPECT_EQ(cache.size(), 3u);
}

} // namespace
} // namespace telvora
