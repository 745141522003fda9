#include <Telvora/Platform/Qt/BusyTime.h>

#include <gtest/gtest.h>

#include <chrono>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

// By a clock that the test moves; began() reads it while an event is delivered, so it never asks
// for the real one.
class BusyTimeTest : public testing::Test {
protected:
    // An event whose delivery takes `time`, after which the thread waits for `wait`.
    void event(std::chrono::nanoseconds time, std::chrono::nanoseconds wait)
    {
        busy.eventComes(now);
        now += time;
        busy.waits(now);
        now += wait;
    }

    // When the work for a frame began, if it is made now.
    BusyTime::Time frame()
    {
        busy.eventComes(now);
        return busy.began();
    }

    BusyTime::Time now { 100s };
    BusyTime busy;
};

TEST_F(BusyTimeTest, WorkBeginsWithTheFirstEventAfterAWait)
{
    event(1ms, 5s);
    const auto began = now;
    busy.eventComes(now);
    now += 300ms;

    EXPECT_EQ(frame(), began);
}

TEST_F(BusyTimeTest, AWaitThatIsNextToNothingIsNone)
{
    event(1ms, 5s);
    const auto began = now;
    event(300ms, 20us);
    event(1ms, 20us);

    EXPECT_EQ(frame(), began);
}

TEST_F(BusyTimeTest, LongWorkShortlyBeforeIsWorkForTheFrame)
{
    event(1ms, 5s);
    const auto began = now;
    event(800ms, 5ms);
    event(1ms, 3ms);

    EXPECT_EQ(frame(), began);
}

TEST_F(BusyTimeTest, LongWorkLongBeforeIsNot)
{
    event(800ms, 25ms);

    EXPECT_EQ(frame(), now);
}

TEST_F(BusyTimeTest, ShortWorkBeforeIsNot)
{
    event(2ms, 5ms);

    EXPECT_EQ(frame(), now);
}

// A timer whose work is long and goes on for long, while nothing asks for a frame.
TEST_F(BusyTimeTest, LongWorkIsNotAddedUp)
{
    for (int count = 0; count < 100; ++count)
        event(18ms, 10ms);

    EXPECT_EQ(frame(), now - 28ms);
}

} // namespace
} // namespace telvora::detail
