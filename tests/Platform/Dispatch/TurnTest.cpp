#include <Telvora/Platform/Dispatch/Turn.h>

#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace telvora {
namespace {

using detail::AloneTurn;
using detail::SharedTurn;
using detail::Turn;
using detail::WorkerPool;

class TurnTest : public testing::Test {
protected:
    /// What the analysis of the compiler would not let through.
    void takeShared() TELVORA_NO_THREAD_SAFETY_ANALYSIS { turn.takeShared(); }

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

TEST_F(TurnDeathTest, AskingForOnesOwnTurnStopsTheProcess)
{
    EXPECT_DEATH(
        {
            const AloneTurn alone(turn);
            takeShared();
        },
        "A block of the queue \"label\" waits for its own queue");
}

} // namespace
} // namespace telvora
