#include <Telvora/Classes/Utils/PriorityQueue.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace telvora {
namespace {

template<typename T> std::vector<T> popAll(PriorityQueue<T> queue)
{
    std::vector<T> popped;
    while (auto element = queue.pop())
        popped.push_back(*element);
    return popped;
}

// An element whose name does not affect the order.
struct Named {
    int rank;
    std::string name;

    bool operator==(const Named&) const = default;
};

using NamedQueue = PriorityQueue<Named>;

NamedQueue namedQueue(std::vector<Named> startingValues = {})
{
    return NamedQueue(
        [](const Named& a, const Named& b) { return a.rank < b.rank; }, std::move(startingValues));
}

std::string names(NamedQueue queue)
{
    std::string text;
    while (const auto element = queue.pop())
        text += element->name;
    return text;
}

TEST(PriorityQueueTest, AnEmptyQueueReturnsNothing)
{
    PriorityQueue<int> queue(true);

    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(queue.count(), 0u);
    EXPECT_EQ(queue.pop(), std::nullopt);
    EXPECT_EQ(queue.peek(), std::nullopt);
}

TEST(PriorityQueueTest, PoppingTheOnlyElementEmptiesIt)
{
    PriorityQueue<int> queue(true, { 7 });

    EXPECT_EQ(queue.pop(), 7);
    EXPECT_TRUE(queue.isEmpty());
}

TEST(PriorityQueueTest, AscendingPopsTheSmallestFirstAndDescendingTheLargest)
{
    EXPECT_EQ(popAll(PriorityQueue<int>(true, { 3, 1, 2 })), (std::vector { 1, 2, 3 }));
    EXPECT_EQ(popAll(PriorityQueue<int>(false, { 3, 1, 2 })), (std::vector { 3, 2, 1 }));
}

TEST(PriorityQueueTest, PeekRemovesNothing)
{
    PriorityQueue<int> queue(true, { 3, 1, 2 });

    EXPECT_EQ(queue.peek(), 1);
    EXPECT_EQ(queue.count(), 3u);
}

TEST(PriorityQueueQuirk, IterationYieldsPriorityOrderAndLeavesTheQueueUnchanged)
{
    const PriorityQueue<int> queue(true, { 5, 3, 4, 1, 2 });

    for (int pass = 0; pass < 2; ++pass) {
        std::vector<int> seen;
        for (const int element : queue)
            seen.push_back(element);
        EXPECT_EQ(seen, (std::vector { 1, 2, 3, 4, 5 }));
    }
    EXPECT_EQ(queue.count(), 5u);
    EXPECT_EQ(queue.underestimatedCount(), 5u);
}

TEST(PriorityQueueQuirk, IndexAccessIsInLevelOrder)
{
    const PriorityQueue<int> queue(true, { 5, 3, 4, 1, 2 });

    // Sinking 3 and then 5: 5 3 4 1 2 -> 5 1 4 3 2 -> 1 2 4 3 5.
    std::vector<int> levels;
    for (std::size_t index = queue.startIndex(); index != queue.endIndex();
         index = queue.index(index))
        levels.push_back(queue[index]);
    EXPECT_EQ(levels, (std::vector { 1, 2, 4, 3, 5 }));
    EXPECT_EQ(queue[0], queue.peek());
}

TEST(PriorityQueueTest, PrintsItsLevelOrder)
{
    const PriorityQueue<int> queue(true, { 3, 1, 2 });

    std::ostringstream text;
    text << queue;

    EXPECT_EQ(text.str(), "[1, 3, 2]");
    EXPECT_EQ(queue.description(), text.str());
    EXPECT_EQ(queue.debugDescription(), text.str());
}

TEST(PriorityQueueTest, RemoveRemovesOneAndRemoveAllEveryEqualElement)
{
    PriorityQueue<int> queue(true, { 2, 1, 2, 3, 2 });

    queue.remove(2);
    EXPECT_EQ(queue.count(), 4u);
    queue.removeAll(2);
    EXPECT_EQ(popAll(queue), (std::vector { 1, 3 }));
}

TEST(PriorityQueueTest, RemovingAnUnknownElementChangesNothing)
{
    PriorityQueue<int> queue(true, { 3, 1, 2 });

    queue.remove(9);
    queue.removeAll(9);

    EXPECT_EQ(popAll(queue), (std::vector { 1, 2, 3 }));
}

// How many comparisons it takes to remove `item` from [1, 5, 2], and what is left.
std::pair<int, std::string> removalOf(int item)
{
    int comparisons = 0;
    PriorityQueue<int> queue(
        [&](int a, int b) {
            ++comparisons;
            return a > b;
        },
        { 1, 5, 2 });
    comparisons = 0;

    queue.remove(item);
    return { comparisons, queue.description() };
}

TEST(PriorityQueueTest, RemovingTheLastArrayElementComparesNothing)
{
    EXPECT_EQ(removalOf(2), std::pair(0, std::string("[1, 5]")));
}

TEST(PriorityQueueTest, RemovingAnotherArrayElementSiftsTheOneInItsPlace)
{
    const auto [comparisons, left] = removalOf(1);

    EXPECT_GT(comparisons, 0);
    EXPECT_EQ(left, "[2, 5]");
}

TEST(PriorityQueueTest, AnElementCanBeRemovedByAReferenceIntoTheQueue)
{
    PriorityQueue<int> queue(true, { 1, 1, 1, 2 });

    queue.removeAll(queue[0]);

    EXPECT_EQ(popAll(queue), (std::vector { 2 }));
}

TEST(PriorityQueueTest, AQueueWorksAfterClear)
{
    PriorityQueue<int> queue(true, { 3, 1, 2 });

    queue.clear();
    EXPECT_TRUE(queue.isEmpty());
    queue.push(4);
    EXPECT_EQ(queue.pop(), 4);
}

TEST(PriorityQueueTest, ACopyIsIndependent)
{
    PriorityQueue<int> queue(true, { 3, 1, 2 });
    PriorityQueue<int> other = queue;

    other.pop();
    other.push(0);

    EXPECT_EQ(popAll(queue), (std::vector { 1, 2, 3 }));
    EXPECT_EQ(popAll(other), (std::vector { 0, 2, 3 }));
}

TEST(PriorityQueueTest, AmongEqualElementsTheEarlierPushedStaysNearerTheRoot)
{
    NamedQueue queue = namedQueue();
    queue.push({ 1, "a" });
    queue.push({ 1, "b" });

    EXPECT_EQ(queue.peek()->name, "a");
}

TEST(PriorityQueueTest, ATieOfChildrenSinksToTheLeft)
{
    // Root x is popped. The last element e moves to the root and sinks below the left of two equal
    // children.
    EXPECT_EQ(names(namedQueue({ { 9, "x" }, { 5, "l" }, { 5, "r" }, { 1, "e" } })), "xlre");
}

TEST(PriorityQueueTest, AParentEqualToItsChildStays)
{
    EXPECT_EQ(names(namedQueue({ { 5, "p" }, { 5, "c" } })), "pc");
}

} // namespace
} // namespace telvora
