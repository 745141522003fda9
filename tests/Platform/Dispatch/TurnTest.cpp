#include <Telvora/Platform/Dispatch/Turn.h>

#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace telvora {
namespace {

using detail::AloneTurn;
using detail::AsynchronousBlocks;
using detail::SharedTurn;
using detail::Turn;
using detail::WorkerPool;

class TurnTest : public testing::Test {
protected:
    // Without the compiler's analysis, which rejects these mistakes.
    void takeSharedInsideAlone() TELVORA_NO_THREAD_SAFETY_ANALYSIS
    {
        const AloneTurn alone(turn);
        const SharedTurn shared(turn);
    }
    void takeAloneInsideShared() TELVORA_NO_THREAD_SAFETY_ANALYSIS
    {
        const SharedTurn shared(turn);
        const AloneTurn alone(turn);
    }
    void takeSharedInsideShared() TELVORA_NO_THREAD_SAFETY_ANALYSIS
    {
        const SharedTurn first(turn);
        const SharedTurn second(turn);
    }

    void takeSharedInAnAsynchronousBlock() TELVORA_NO_THREAD_SAFETY_ANALYSIS
    {
        const SharedTurn shared(turn);
        const AsynchronousBlocks scope;
        const SharedTurn ofTheBlock(turn);
    }

    // The analysis would also reject a thread that tries a turn that it has.
    bool canBeTaken() TELVORA_NO_THREAD_SAFETY_ANALYSIS
    {
        const bool isTaken = turn.tryTakeAlone();
        EXPECT_EQ(isTaken && turn.isOwn(), isTaken);
        if (isTaken)
            turn.leaveAlone();
        return isTaken;
    }

    static constexpr const char* message = "A block of the queue \"label\" waits for its own queue";

    std::shared_ptr<WorkerPool> pool = std::make_shared<WorkerPool>(detail::startDetachedThread);
    Turn turn { *pool, "label" };
};

using TurnDeathTest = TurnTest;

TEST_F(TurnTest, BelongsToTheThreadThatHasItAlone)
{
    EXPECT_FALSE(turn.isOwn());
    {
        const AloneTurn alone(turn);
        EXPECT_TRUE(turn.isOwn());
        std::thread([this] { EXPECT_FALSE(turn.isOwn()); }).join();
    }
    EXPECT_FALSE(turn.isOwn());
}

TEST_F(TurnTest, IsSharedByAnyNumberOfReaders)
{
    const SharedTurn first(turn);

    std::thread([this] { const SharedTurn second(turn); }).join();

    EXPECT_FALSE(turn.isOwn());
    EXPECT_FALSE(turn.isAwaited());
}

TEST_F(TurnTest, TellsThatAThreadWaitsForIt)
{
    std::thread waiting;
    {
        const AloneTurn alone(turn);
        EXPECT_FALSE(turn.isAwaited());
        waiting = std::thread([this] { const AloneTurn next(turn); });
        while (!turn.isAwaited())
            std::this_thread::yield();
    }
    waiting.join();

    EXPECT_FALSE(turn.isAwaited());
}

TEST_F(TurnTest, IsTriedWithoutWaiting)
{
    EXPECT_TRUE(canBeTaken());
    {
        const AloneTurn alone(turn);
        EXPECT_FALSE(canBeTaken());
        std::thread([this] { EXPECT_FALSE(canBeTaken()); }).join();
    }
    EXPECT_TRUE(canBeTaken());

    const SharedTurn shared(turn);
    EXPECT_FALSE(canBeTaken());
    std::thread([this] { EXPECT_FALSE(canBeTaken()); }).join();
}

TEST_F(TurnTest, CanBeTakenAgainOnceItWasLeft)
{
    {
        const SharedTurn first(turn);
    }
    {
        const SharedTurn second(turn);
    }
    {
        const AloneTurn alone(turn);
    }

    EXPECT_FALSE(turn.isOwn());
}

TEST_F(TurnTest, MayBeTakenSharedAgainByABlockThatTheHoldersThreadRuns)
{
    takeSharedInAnAsynchronousBlock();

    const AloneTurn alone(turn);
    EXPECT_TRUE(turn.isOwn());
}

TEST_F(TurnDeathTest, TakingATurnThatTheThreadHoldsStopsTheProcess)
{
    EXPECT_DEATH(takeSharedInsideAlone(), message);
    EXPECT_DEATH(takeAloneInsideShared(), message);
    EXPECT_DEATH(takeSharedInsideShared(), message);
}

} // namespace
} // namespace telvora
