#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <Telvora/Platform/TimerSource.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

namespace telvora {
namespace {

using namespace std::chrono_literals;

TEST(SimulatedPlatformTest, ServicesAreTheTwins)
{
    SimulatedPlatform simulated;
    Platform& services = simulated.services();

    EXPECT_EQ(&services.clock, &simulated.clock());
    EXPECT_EQ(&services.dispatch, &simulated.dispatch());
    EXPECT_EQ(&services.httpClient, &simulated.httpClient());
    EXPECT_EQ(&services.reachability, &simulated.reachability());
    EXPECT_EQ(&services.screens, &simulated.screens());
    EXPECT_EQ(&services.uuids, &simulated.uuids());
}

TEST(SimulatedPlatformTest, AdvanceFiresTimersDelaysAndAnswersInTimeOrder)
{
    SimulatedPlatform simulated;
    std::string heard;
    auto timer = simulated.services().dispatch.makeTimerSource();
    timer->setHandler([&] { heard += "tick "; });
    timer->schedule(2s);
    timer->resume();
    simulated.httpClient().setAnswers({ ScriptedAnswer::body("").after(3s) });
    HTTPRequest request;
    request.url = "http://a/";
    simulated.services().httpClient.send(request, [&](HTTPAnswer) { heard += "answer "; });
    simulated.services().dispatch.globalAsyncAfter(1s, [&] { heard += "delayed "; });

    simulated.advance(4s);

    EXPECT_EQ(heard, "delayed tick answer tick ");
    EXPECT_EQ(simulated.services().clock.secondsSince1970(), 1700000004.0);
}

TEST(SimulatedPlatformTest, OneObserverHearsTheQuestionsToEveryService)
{
    SimulatedPlatform simulated;
    std::string asked;
    simulated.setQuestionObserver([&](const std::string& question) { asked += question + " "; });
    Platform& services = simulated.services();

    services.device.ppi();
    services.bundle.bundleIdentifier();
    services.telephony.serviceCurrentRadioAccessTechnology();
    services.reachability.makeReachability(ReachabilityService::Use::held)->connection();
    services.screens.keyWindow();
    services.lifeCycleChecker.registerAdaptor({});
    EXPECT_EQ(asked,
        "ppi bundleIdentifier radio reachabilityInit reachabilityConnection keyWindow "
        "registerAdaptor ");

    asked.clear();
    simulated.setQuestionObserver({});
    services.device.ppi();
    EXPECT_EQ(asked, "");
}

TEST(SimulatedPlatformTest, SetWallTimeMovesTheCalendarAlone)
{
    SimulatedPlatform simulated;
    const auto steady = simulated.clock().steadyNow();

    simulated.setWallTime(42);

    EXPECT_EQ(simulated.clock().secondsSince1970(), 42);
    EXPECT_EQ(simulated.clock().steadyNow(), steady);
}

} // namespace
} // namespace telvora
