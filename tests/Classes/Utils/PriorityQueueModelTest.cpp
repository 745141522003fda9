#include <Telvora/Classes/Utils/PriorityQueue.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace telvora {
namespace {

// The same queue as a sorted vector; slow, but obviously right.
class SortedVector {
public:
    void push(int element)
    {
        m_elements.insert(std::upper_bound(m_elements.begin(), m_elements.end(), element), element);
    }

    std::optional<int> pop()
    {
        if (m_elements.empty())
            return std::nullopt;
        const int first = m_elements.front();
        m_elements.erase(m_elements.begin());
        return first;
    }

    void remove(int element)
    {
        const auto found = std::find(m_elements.begin(), m_elements.end(), element);
        if (found != m_elements.end())
            m_elements.erase(found);
    }

    void removeAll(int element) { std::erase(m_elements, element); }
    void clear() { m_elements.clear(); }

    const std::vector<int>& elements() const { return m_elements; }

private:
    std::vector<int> m_elements;
};

void expectHeap(const PriorityQueue<int>& queue)
{
    for (std::size_t index = 1; index < queue.count(); ++index)
        ASSERT_FALSE(queue[(index - 1) / 2] > queue[index]) << "at " << index;
}

class PriorityQueueModelTest : public testing::TestWithParam<unsigned> { };

TEST_P(PriorityQueueModelTest, AgreesWithASortedVectorAfterEveryRandomStep)
{
    std::mt19937 random(GetParam());
    PriorityQueue<int> queue(true);
    SortedVector model;

    for (int step = 0; step < 3000; ++step) {
        // Few different values, so that many are equal.
        const int value = static_cast<int>(random() % 40);
        const auto action = random() % 100;
        if (action < 50) {
            queue.push(value);
            model.push(value);
        } else if (action < 80) {
            ASSERT_EQ(queue.pop(), model.pop());
        } else if (action < 95) {
            queue.remove(value);
            model.remove(value);
        } else if (action < 99) {
            queue.removeAll(value);
            model.removeAll(value);
        } else {
            queue.clear();
            model.clear();
        }
        ASSERT_EQ(queue.count(), model.elements().size());
        expectHeap(queue);
    }

    std::vector<int> left;
    for (const int element : queue)
        left.push_back(element);
    EXPECT_EQ(left, model.elements());
}

INSTANTIATE_TEST_SUITE_P(Seeds, PriorityQueueModelTest, testing::Range(1u, 9u));

TEST(PriorityQueueHeapifyTest, HeapifiesRandomStartingValues)
{
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        std::vector<int> values(random() % 50);
        for (int& value : values)
            value = static_cast<int>(random() % 20);

        PriorityQueue<int> queue(true, values);
        expectHeap(queue);

        std::sort(values.begin(), values.end());
        for (const int value : values)
            ASSERT_EQ(queue.pop(), value);
    }
}

} // namespace
} // namespace telvora
