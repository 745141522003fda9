#include <Telvora/Platform/Simulated/ManualDispatch.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class ManualDispatchTimeTest : public testing::Test {
protected:
    /// A block that writes down a word and how many milliseconds have passed.
    Work say(std::string word)
    {
        return [this, word = std::move(word)] {
            const auto passed = clock.steadyNow() - start;
            said += word
                + std::to_string(
                    std::chrono::duration_cast<std::chrono::milliseconds>(passed).count())
                + " ";
        };
    }

    ManualClock clock;
    const std::chrono::steady_clock::time_point start = clock.steadyNow();
    ManualDispatch dispatch { clock };
    std::string said;
};

TEST_F(ManualDispatchTimeTest, DelayedBlocksRunAtTheirOwnInstantsInTimeOrder)
{
    dispatch.globalAsyncAfter(2s, say("b"));
    dispatch.globalAsyncAfter(500ms, say("a"));
    dispatch.completionAsync(3s, say("c"));

    dispatch.advance(10s);

    EXPECT_EQ(said, "a500 b2000 c3000 ");
    EXPECT_EQ(clock.steadyNow() - start, 10s);
    EXPECT_EQ(clock.secondsSince1970(), 1700000010.0);
}

TEST_F(ManualDispatchTimeTest, AdvanceReachesTheLastInstantAndNothingBeyond)
{
    dispatch.globalAsyncAfter(1s, say("a"));
    dispatch.globalAsyncAfter(1s + 1ns, say("b"));

    dispatch.advance(1s);

    EXPECT_EQ(said, "a1000 ");
}

TEST_F(ManualDispatchTimeTest, EqualInstantsKeepTheOrderInWhichTheyWereAskedFor)
{
    dispatch.globalAsyncAfter(1s, say("a"));
    dispatch.completionAsync(1s, say("b"));
    dispatch.advance(500ms);
    dispatch.globalAsyncAfter(500ms, say("c"));

    dispatch.advance(500ms);

    EXPECT_EQ(said, "a1000 b1000 c1000 ");
}

TEST_F(ManualDispatchTimeTest, WorkIsRunToRestBeforeTimeMovesOn)
{
    auto queue = dispatch.makeConcurrentQueue("queue");
    dispatch.globalAsyncAfter(2s, say("c"));
    dispatch.globalAsyncAfter(1s, [&] { queue->barrierAsync(say("b")); });
    queue->barrierAsync(say("a"));

    dispatch.advance(2s);

    EXPECT_EQ(said, "a0 b1000 c2000 ");
}

TEST_F(ManualDispatchTimeTest, ADelayThatIsAskedForOnTheWayCounts)
{
    dispatch.globalAsyncAfter(1s, [&] { dispatch.globalAsyncAfter(1s, say("a")); });

    dispatch.advance(5s);

    EXPECT_EQ(said, "a2000 ");
}

TEST_F(ManualDispatchTimeTest, NoDelayIsReadyAtOnce)
{
    dispatch.globalAsyncAfter(0s, say("a"));
    dispatch.globalAsyncAfter(-1s, say("b"));
    EXPECT_EQ(dispatch.readyBlockCount(), 2U);

    dispatch.runUntilIdle();

    EXPECT_EQ(said, "a0 b0 ");
}

TEST_F(ManualDispatchTimeTest, UnderHoldWhatIsDueOnlyBecomesReady)
{
    dispatch.setHold(true);
    dispatch.globalAsyncAfter(1s, say("a"));
    dispatch.globalAsyncAfter(2s, say("b"));

    dispatch.advance(5s);
    EXPECT_EQ(said, "");
    EXPECT_EQ(dispatch.readyBlockCount(), 2U);

    dispatch.step();
    EXPECT_EQ(said, "a5000 ");
}

TEST_F(ManualDispatchTimeTest, TheClockStandsStillWhileBlocksRun)
{
    dispatch.globalAsyncAfter(0s, [&] {
        dispatch.globalAsyncAfter(0s, say("a"));
        dispatch.mainAsync(say("b"));
    });

    dispatch.runUntilIdle();

    EXPECT_EQ(said, "a0 b0 ");
}

TEST_F(ManualDispatchTimeTest, SettingTheDateFiresNothing)
{
    dispatch.globalAsyncAfter(1s, say("a"));

    clock.setWallTime(2000000000.0);
    dispatch.runUntilIdle();
    EXPECT_EQ(said, "");

    dispatch.advance(1s);
    EXPECT_EQ(said, "a1000 ");
    EXPECT_EQ(clock.secondsSince1970(), 2000000001.0);
}

TEST_F(ManualDispatchTimeTest, NextInstantTellsWhenSomethingComesDue)
{
    EXPECT_EQ(dispatch.nextInstant(), std::nullopt);

    dispatch.globalAsyncAfter(2s, say("a"));
    dispatch.completionAsync(1s, say("b"));

    EXPECT_EQ(dispatch.nextInstant(), start + 1s);
}

TEST_F(ManualDispatchTimeTest, ADelayBeyondTheEndOfTimeWaitsThere)
{
    dispatch.advance(1s);
    dispatch.globalAsyncAfter(std::chrono::nanoseconds::max(), say("a"));
    EXPECT_EQ(dispatch.nextInstant(), std::chrono::steady_clock::time_point::max());

    dispatch.advance(std::chrono::nanoseconds::max());

    EXPECT_NE(said, "");
}

} // namespace
} // namespace telvora
