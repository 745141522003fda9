#include <Telvora/Classes/FinishedEvents.h>

#include <tests/Sanitized.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <malloc.h>
#include <string>
#include <utility>

namespace telvora::detail {
namespace {

constexpr std::size_t large = 1'000'000;
constexpr std::size_t someBytes = 100;
constexpr int group = 256;

std::size_t heapBytes()
{
    const auto heap = ::mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

Value dictionary(std::size_t bytes)
{
    return Dictionary { { "text", std::string(bytes, 'x') } };
}

EventBuilder built(std::size_t bytes)
{
    EventBuilder event(1);
    event.set("text", std::string(bytes, 'x'));
    return event;
}

// How many large events exist, since the case has begun.
class FinishedEventsTest : public testing::Test {
protected:
    void expectLarge(std::size_t count) const
    {
        const std::size_t found = (heapBytes() - m_before + large / 2) / large;
        EXPECT_EQ(isSanitized ? count : found, count);
    }

    FinishedEvents finished;

private:
    const std::size_t m_before = heapBytes();
};

TEST_F(FinishedEventsTest, EventsAreDestroyedInGroups)
{
    finished.add(dictionary(large), someBytes);
    for (int number = 1; number < group - 2; ++number)
        finished.add(dictionary(10), someBytes);
    finished.add(built(10));
    expectLarge(1);

    finished.add(std::string("{}"));

    expectLarge(0);
}

TEST_F(FinishedEventsTest, LongEventsEndTheirGroup)
{
    finished.add(dictionary(large), someBytes);
    expectLarge(1);

    finished.add(dictionary(large), large);

    expectLarge(0);
}

TEST_F(FinishedEventsTest, AnEventWithoutALengthEndsItsGroup)
{
    finished.add(dictionary(large), someBytes);
    expectLarge(1);

    finished.add(dictionary(large), std::numeric_limits<std::size_t>::max());

    expectLarge(0);
}

TEST_F(FinishedEventsTest, ABuiltEventCountsWithItsMemory)
{
    finished.add(dictionary(large), someBytes);
    expectLarge(1);
    finished.add(built(10));
    expectLarge(1);

    finished.add(built(large));

    expectLarge(0);
}

TEST_F(FinishedEventsTest, ATextCountsWithItsLength)
{
    finished.add(std::string(large / 8, 'x'));
    finished.add(dictionary(large), someBytes);
    expectLarge(1);

    finished.add(std::string(large, 'x'));

    expectLarge(0);
}

TEST_F(FinishedEventsTest, TheNextGroupBeginsEmpty)
{
    for (int number = 0; number < group; ++number)
        finished.add(dictionary(10), someBytes);
    finished.add(dictionary(large), someBytes);
    expectLarge(1);
    for (int number = 1; number < group; ++number)
        finished.add(dictionary(10), someBytes);
    expectLarge(0);
}

TEST_F(FinishedEventsTest, MemoryOfTheHostsIsGivenBackAtOnce)
{
    struct Memory final : boost::json::memory_resource {
        void* do_allocate(std::size_t bytes, std::size_t) override
        {
            ++pieces;
            return ::operator new(bytes);
        }
        void do_deallocate(void* memory, std::size_t, std::size_t) override
        {
            --pieces;
            ::operator delete(memory);
        }
        bool do_is_equal(const memory_resource& other) const noexcept override
        {
            return this == &other;
        }
        int pieces = 0;
    } memory;
    Value event(Dictionary({ { "text", std::string(100, 'x') } }, &memory));
    EXPECT_GT(memory.pieces, 0);

    finished.add(std::move(event), someBytes);

    EXPECT_EQ(memory.pieces, 0);
}

} // namespace
} // namespace telvora::detail
