#include <Telvora/Start/ApplicationState.h>

#include <tests/ChildProcess.h>
#include <tests/Classes/SimulatedHost.h>

#include <stdexcept>

namespace telvora {
namespace {

class ApplicationStateTest : public SimulatedHost { };

TEST_F(ApplicationStateTest, EnteringTheBackgroundFlushesAndPausesTheTimer)
{
    answerAll(success());
    addChannel("E2E");
    TrackerManager::start();
    append("E2E", 1, 2);

    telvora::enterBackground();
    simulated().runUntilIdle();

    EXPECT_EQ(numbersIn(0), (std::vector<std::int64_t> { 1, 2 }));
    EXPECT_FALSE(manager().trackerTimer().isRunning());
}

TEST_F(ApplicationStateTest, EnteringTheForegroundResumesTheTimerAndCallsTheHook)
{
    int restarts = 0;
    addChannel("E2E")->setRestartHook([&] { ++restarts; });
    TrackerManager::start();

    telvora::enterBackground();
    telvora::enterForeground();

    EXPECT_TRUE(manager().trackerTimer().isRunning());
    EXPECT_EQ(restarts, 1);
}

TEST_F(ApplicationStateTest, WhatAnObserverThrowsDoesNotReachTheHost)
{
    simulated().notificationCenter().addObserver(this, Notification::didEnterBackground,
        [] { throw std::runtime_error("an observer of the host's"); });

    EXPECT_NO_THROW(telvora::enterBackground());
}

TEST_F(ApplicationStateTest, NothingHappensInAForkedChild)
{
    simulated().notificationCenter().addObserver(
        this, Notification::didEnterBackground, [] { std::_Exit(3); });
    detail::noteUse();

    EXPECT_EQ(endOfChild([] {
        // As the fork handler of the Linux platform does.
        detail::afterForkInChild();
        telvora::enterBackground();
    }),
        "exited 0");
}

TEST(ApplicationStateWithoutPlatformTest, NothingHappensBeforeTheFirstUse)
{
    telvora::enterBackground();
    telvora::enterForeground();

    EXPECT_EQ(detail::usedPlatform(), nullptr);
}

} // namespace
} // namespace telvora
