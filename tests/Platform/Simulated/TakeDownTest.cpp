#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Platform/TimerSource.h>
#include <tests/ChildProcess.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class TakeDownTest : public testing::Test {
protected:
    TakeDownTest() { installPlatform(simulated.services()); }

    // Takes the platform down from inside `call`, and expects the process to stop.
    void expectDeathWithin(const std::function<void(std::function<void()> takeDown)>& call)
    {
        EXPECT_DEATH(call([&] { simulated.takeDown(); }),
            "takeDown\\(\\) was called from a block, a closure or an observer");
    }

    SimulatedPlatform simulated;
};
using TakeDownDeathTest = TakeDownTest;

TEST_F(TakeDownTest, AnotherPlatformCanBeInstalledAfterwards)
{
    simulated.takeDown();
    SimulatedPlatform other;
    installPlatform(other.services());

    EXPECT_EQ(&platform(), &other.services());
}

TEST_F(TakeDownTest, TheDestructorTakesDownTheInstalledPlatform)
{
    simulated.takeDown();
    {
        SimulatedPlatform other;
        installPlatform(other.services());
    }
    SimulatedPlatform third;
    installPlatform(third.services());

    EXPECT_EQ(&platform(), &third.services());
}

TEST_F(TakeDownTest, TheDestructorOfAnotherPlatformLeavesTheInstalledOne)
{
    std::make_unique<SimulatedPlatform>().reset();

    EXPECT_EQ(&platform(), &simulated.services());
}

TEST_F(TakeDownTest, BlocksAndTicksAreDroppedAndRunNoMore)
{
    int runs = 0;
    const auto count = [&] { ++runs; };
    const auto queue = simulated.dispatch().makeConcurrentQueue("q");
    const auto timer = simulated.dispatch().makeTimerSource();
    timer->setHandler(count);
    timer->schedule(1s);
    timer->resume();
    queue->barrierAsync(count);
    simulated.dispatch().globalAsyncAfter(1s, count);
    simulated.dispatch().mainAsync(count);

    simulated.takeDown();
    queue->barrierAsync(count);
    timer->schedule(1s);
    timer->resume();
    simulated.dispatch().globalAsyncAfter(1s, count);
    simulated.advance(10s);

    EXPECT_EQ(runs, 0);
    EXPECT_EQ(simulated.dispatch().readyBlockCount(), 0u);
}

TEST_F(TakeDownTest, QueuesAndTimersMayOutliveThePlatform)
{
    simulated.takeDown();
    std::unique_ptr<DispatchQueue> queue;
    std::unique_ptr<TimerSource> timer;
    std::unique_ptr<Reachability> reachability;
    bool isRun = false;
    {
        SimulatedPlatform other;
        installPlatform(other.services());
        queue = other.dispatch().makeConcurrentQueue("q");
        timer = other.dispatch().makeTimerSource();
        reachability = other.reachability().makeReachability(ReachabilityService::Use::held);
    }

    queue->sync([&] { isRun = true; });
    queue->barrierAsync([] { FAIL() << "nobody runs it"; });
    timer->schedule(1s);
    timer->resume();
    reachability->startNotifier();

    EXPECT_TRUE(isRun) << "whoever waits for a block gets its result";
    EXPECT_EQ(reachability->connection(), Reachability::Connection::wifi);
}

TEST_F(TakeDownTest, RequestsWithoutAnAnswerAreDropped)
{
    const auto watched = std::make_shared<int>();
    simulated.httpClient().setAnswers(
        { ScriptedAnswer::later(), ScriptedAnswer::body("").after(1s) });
    for (int request = 0; request < 2; ++request)
        platform().httpClient.send({ "http://a/", "POST", {}, {}, 1s },
            [watched](HTTPAnswer) { FAIL() << "the completion is not called"; });

    simulated.takeDown();

    EXPECT_EQ(watched.use_count(), 1);
    EXPECT_EQ(simulated.httpClient().underWayCount(), 0u);
    EXPECT_EQ(simulated.httpClient().requestCount(), 2u) << "what was recorded stays";
}

TEST_F(TakeDownTest, NoObserverIsCalledAnyMore)
{
    int calls = 0;
    const auto count = [&](const auto&...) { ++calls; };
    simulated.setQuestionObserver(count);
    simulated.application().setOpenObserver(count);
    simulated.dispatch().setTimerObserver(count);
    simulated.fileManager().setProbeObserver(count);
    simulated.fileManager().setWriteObserver(count);
    simulated.httpClient().setRequestObserver(count);
    simulated.notificationCenter().setObservationObserver(count);
    simulated.reachability().setNotifierObserver(count);
    Platform& services = simulated.services();

    simulated.takeDown();
    services.device.ppi();
    services.application.canOpenURL("x");
    services.dispatch.makeTimerSource()->schedule(1s);
    services.fileManager.fileExists("x");
    services.fileManager.writeAtomically("x", "");
    services.httpClient.send({ "http://a/", "POST", {}, {}, 1s }, {});
    services.notificationCenter.addObserver(this, Notification::didEnterBackground, [] {});
    services.reachability.makeReachability(ReachabilityService::Use::held)->startNotifier();

    EXPECT_EQ(calls, 0);
}

TEST_F(TakeDownTest, TheCountOfExceptionsBeginsAgain)
{
    detail::callHost([] { throw 1; });
    ASSERT_EQ(hostExceptionCount(), 1);

    simulated.takeDown();

    EXPECT_EQ(hostExceptionCount(), 0);
}

TEST_F(TakeDownTest, ExitFromAClosureLeavesAStaticPlatformInstalled)
{
    const std::string end = endOfChild([&] {
        simulated.takeDown();
        static SimulatedPlatform other;
        installPlatform(other.services());
        detail::noteHostClosure();
        detail::callHost([] { std::exit(3); });
    });

    EXPECT_EQ(end, "exited 3");
}

TEST_F(TakeDownTest, AnInertForkedChildLeavesThePlatformInstalled)
{
    detail::noteUse();
    const std::string end = endOfChild([&] {
        detail::afterForkInChild();
        simulated.takeDown();
        ::_exit(&platform() == &simulated.services() ? 0 : 3);
    });

    EXPECT_EQ(end, "exited 0");
}

TEST_F(TakeDownDeathTest, ABlockThatTakesThePlatformDownStopsTheProcess)
{
    expectDeathWithin([&](const auto& takeDown) {
        simulated.dispatch().mainAsync(takeDown);
        simulated.runUntilIdle();
    });
    expectDeathWithin([&](const auto& takeDown) {
        platform().dispatch.makeConcurrentQueue("q")->sync(takeDown);
    });
}

TEST_F(TakeDownDeathTest, AClosureThatTakesThePlatformDownStopsTheProcess)
{
    expectDeathWithin([](const auto& takeDown) { detail::callHost(takeDown); });
}

TEST_F(TakeDownDeathTest, AnObserverThatTakesThePlatformDownStopsTheProcess)
{
    expectDeathWithin([&](const auto& takeDown) {
        simulated.setQuestionObserver([=](const std::string&) { takeDown(); });
        platform().device.ppi();
    });
    expectDeathWithin([&](const auto& takeDown) {
        simulated.notificationCenter().addObserver(
            this, Notification::didEnterBackground, takeDown);
        simulated.notificationCenter().post(Notification::didEnterBackground);
    });
}

TEST_F(TakeDownDeathTest, TakingDownAPlatformThatIsNotInstalledStopsTheProcess)
{
    const std::string message = "Only the installed platform can be taken down";
    SimulatedPlatform other;

    EXPECT_DEATH(other.takeDown(), message);
    simulated.takeDown();
    EXPECT_DEATH(simulated.takeDown(), message) << "a second time";
    EXPECT_DEATH(other.takeDown(), message) << "while none is installed";
}

TEST_F(TakeDownDeathTest, WhileTheLinuxPlatformIsInstalledThereIsNothingToTakeDown)
{
    simulated.takeDown();
    SimulatedPlatform other;
    const auto takeDown = [&] {
        installPlatform((new LinuxPlatform)->services());
        other.takeDown();
    };

    EXPECT_DEATH(takeDown(), "Only the installed platform can be taken down");
}

TEST_F(TakeDownDeathTest, APlatformThatWasTakenDownCannotBeInstalledAgain)
{
    simulated.takeDown();

    EXPECT_DEATH(installPlatform(simulated.services()), "was taken down: make another one");
}

TEST_F(TakeDownDeathTest, ASecondPlatformStillNeedsTheFirstToBeTakenDown)
{
    SimulatedPlatform other;

    EXPECT_DEATH(installPlatform(other.services()), "A platform is in use already");
}

} // namespace
} // namespace telvora
