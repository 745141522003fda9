#include <Telvora/Platform/Simulated/ManualDispatch.h>

#include <Telvora/Platform/TimerSource.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class ManualDispatchTest : public testing::Test {
protected:
    /// A block that writes a word down.
    Work say(std::string word)
    {
        return [this, word = std::move(word)] { said += word; };
    }

    ManualClock clock;
    ManualDispatch dispatch { clock };
    std::unique_ptr<DispatchQueue> queue = dispatch.makeConcurrentQueue("queue");
    std::unique_ptr<DispatchQueue> other = dispatch.makeConcurrentQueue("other");
    std::string said;
};

using ManualDispatchDeathTest = ManualDispatchTest;

TEST_F(ManualDispatchTest, NothingRunsByItself)
{
    queue->barrierAsync(say("a"));
    queue->barrierAsync(say("b"));
    dispatch.globalAsyncAfter(0s, say("c"));
    dispatch.mainAsync(say("d"));

    EXPECT_EQ(said, "");
    EXPECT_EQ(dispatch.readyBlockCount(), 4U);
    EXPECT_EQ(dispatch.readyBarrierCount(), 2U);
}

TEST_F(ManualDispatchTest, BlocksRunInTheOrderOfTheirSubmissionAcrossQueues)
{
    queue->barrierAsync(say("a"));
    other->barrierAsync(say("b"));
    dispatch.mainAsync(say("c"));
    dispatch.globalAsyncAfter(0s, say("d"));
    queue->barrierAsync(say("e"));
    queue->barrierAsync(say("f"));

    dispatch.runUntilIdle();

    EXPECT_EQ(said, "abcdef");
    EXPECT_EQ(dispatch.readyBlockCount(), 0U);
}

TEST_F(ManualDispatchTest, RunUntilIdleRunsWhatBlocksSubmit)
{
    queue->barrierAsync([&] {
        said += "a";
        queue->barrierAsync([&] {
            said += "b";
            dispatch.globalAsyncAfter(0s, say("c"));
        });
    });

    dispatch.runUntilIdle();

    EXPECT_EQ(said, "abc");
}

TEST_F(ManualDispatchTest, StepRunsSoManyBlocksAndNoMore)
{
    for (const char* word : { "a", "b", "c" })
        queue->barrierAsync(say(word));

    EXPECT_EQ(dispatch.step(2), 2U);
    EXPECT_EQ(said, "ab");
    EXPECT_EQ(dispatch.step(2), 1U);
    EXPECT_FALSE(dispatch.runNext());
}

TEST_F(ManualDispatchTest, HeldBlocksPileUpAndStepsRunThem)
{
    dispatch.setHold(true);
    queue->barrierAsync(say("a"));
    queue->barrierAsync(say("b"));

    dispatch.runUntilIdle();
    EXPECT_EQ(said, "");
    dispatch.step();
    EXPECT_EQ(said, "a");

    dispatch.setHold(false);
    dispatch.runUntilIdle();
    EXPECT_EQ(said, "ab");
}

TEST_F(ManualDispatchTest, ABlockMayTurnHoldOnForThoseAfterIt)
{
    queue->barrierAsync([&] { dispatch.setHold(true); });
    queue->barrierAsync(say("a"));

    dispatch.runUntilIdle();

    EXPECT_EQ(said, "");
    EXPECT_EQ(dispatch.readyBlockCount(), 1U);
}

TEST_F(ManualDispatchTest, SyncRunsWhatIsBeforeItOnItsQueueAndNothingElseEvenHeld)
{
    dispatch.setHold(true);
    queue->barrierAsync(say("a"));
    other->barrierAsync(say("x"));
    queue->barrierAsync(say("b"));

    queue->sync([&] { said += "S"; });
    EXPECT_EQ(said, "abS");
    EXPECT_EQ(dispatch.readyBlockCount(), 1U);

    queue->barrierAsync(say("c"));
    queue->barrierSync([&] { said += "B"; });
    EXPECT_EQ(said, "abScB");
}

TEST_F(ManualDispatchTest, SyncFromABlockOfAnotherQueueRunsOnTheSpot)
{
    other->barrierAsync(say("a"));
    queue->barrierAsync([&] {
        said += "[";
        other->sync([&] { said += "S"; });
        said += "]";
    });
    other->barrierAsync(say("b"));

    dispatch.runUntilIdle();

    EXPECT_EQ(said, "a[bS]");
}

TEST_F(ManualDispatchTest, ReadersOfOneQueueMayRunSideBySide)
{
    queue->sync([&] {
        said += "[";
        dispatch.runOnOtherThread([&] { queue->sync([&] { said += "S"; }); });
        said += "]";
    });

    EXPECT_EQ(said, "[S]");
}

TEST_F(ManualDispatchDeathTest, ARingOfWaitingQueuesStopsTheProcess)
{
    EXPECT_DEATH(
        {
            other->barrierAsync([&] { queue->sync([] {}); });
            queue->barrierAsync([&] { other->sync([] {}); });
            queue->sync([] {});
        },
        "waits for its own queue");
}

TEST_F(ManualDispatchDeathTest, ABlockThatRunsBlocksStopsTheProcess)
{
    EXPECT_DEATH(
        {
            queue->barrierAsync([&] { dispatch.runNext(); });
            dispatch.runUntilIdle();
        },
        "runNext was called from a block");
    EXPECT_DEATH(queue->barrierSync([&] { dispatch.advance(std::chrono::seconds(1)); }),
        "advance was called from a block");
}

TEST_F(ManualDispatchTest, DestroyingAQueueRunsWhatIsPendingOnItEvenHeld)
{
    dispatch.setHold(true);
    queue->barrierAsync(say("a"));
    other->barrierAsync(say("x"));
    queue->barrierAsync(say("b"));

    queue.reset();

    EXPECT_EQ(said, "ab");
    EXPECT_EQ(dispatch.readyBlockCount(), 1U);
}

TEST_F(ManualDispatchTest, AnExceptionThatLeavesAnAsynchronousBlockGoesNowhere)
{
    queue->barrierAsync([] { throw std::runtime_error("lost"); });
    queue->barrierAsync(say("a"));

    dispatch.runUntilIdle();

    EXPECT_EQ(said, "a");
    EXPECT_FALSE(dispatch.isRunningBlock());
}

TEST_F(ManualDispatchTest, AnExceptionThatLeavesASynchronousBlockReachesTheCaller)
{
    EXPECT_THROW(queue->sync([] { throw std::runtime_error("seen"); }), std::runtime_error);

    EXPECT_FALSE(dispatch.isRunningBlock());
    queue->barrierSync([&] { said += "a"; });
    EXPECT_EQ(said, "a");
}

TEST_F(ManualDispatchTest, ABlockIsDestroyedOnceItHasRun)
{
    auto witness = std::make_shared<int>(0);
    queue->barrierAsync([witness] {});

    dispatch.runUntilIdle();

    EXPECT_EQ(witness.use_count(), 1);
}

TEST_F(ManualDispatchTest, OnlyTheTestAndTheMainQueueAreOnTheMainThread)
{
    std::string threads;
    auto note = [&] { threads += dispatch.isOnMainThread() ? 'm' : 'o'; };
    note();
    queue->barrierAsync(note);
    dispatch.globalAsyncAfter(0s, note);
    dispatch.completionAsync(std::chrono::seconds(0), note);
    dispatch.mainAsync(note);
    dispatch.runUntilIdle();
    note();

    EXPECT_EQ(threads, "mooomm");
}

TEST_F(ManualDispatchTest, ASynchronousBlockRunsOnItsCallersThread)
{
    std::string threads;
    auto note = [&] { threads += dispatch.isOnMainThread() ? 'm' : 'o'; };
    queue->barrierAsync(note);

    queue->sync(note);
    EXPECT_EQ(threads, "om");

    other->barrierAsync([&] { queue->sync(note); });
    dispatch.mainAsync([&] { queue->sync(note); });
    dispatch.runUntilIdle();
    EXPECT_EQ(threads, "omom");
}

TEST_F(ManualDispatchTest, AnotherRealThreadMaySubmitAndIsNotTheMainThread)
{
    bool isMain = true;
    std::thread thread([&] {
        isMain = dispatch.isOnMainThread();
        queue->barrierAsync(say("a"));
    });
    thread.join();

    dispatch.runUntilIdle();

    EXPECT_FALSE(isMain);
    EXPECT_EQ(said, "a");
}

TEST_F(ManualDispatchTest, BlocksThatHaveNotRunAreDroppedWithTheDispatch)
{
    auto witness = std::make_shared<int>(0);
    std::unique_ptr<DispatchQueue> survivor;
    {
        ManualDispatch shortLived(clock);
        survivor = shortLived.makeConcurrentQueue("survivor");
        survivor->barrierAsync([witness, this] { said += "a"; });
        shortLived.globalAsyncAfter(std::chrono::seconds(1), [witness] {});
    }

    EXPECT_EQ(witness.use_count(), 1);
    survivor.reset();
    EXPECT_EQ(said, "");
}

} // namespace
} // namespace telvora
