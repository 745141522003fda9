#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace telvora {
namespace {

class ScriptedReachabilityTest : public testing::Test {
protected:
    using Connection = Reachability::Connection;
    using Use = ReachabilityService::Use;
    using Value = ScriptedReachability::Value;
    using Whose = ScriptedReachability::Whose;

    /// One whose notifier runs and whose callbacks write down what they are told.
    std::unique_ptr<Reachability> watch(Use use = Use::held)
    {
        auto object = service.makeReachability(use);
        object->setWhenReachable([this](Connection now) {
            told += now == Connection::wifi   ? "wifi "
                : now == Connection::cellular ? "cellular "
                                              : "none? ";
        });
        object->setWhenUnreachable(
            [this](Connection now) { told += now == Connection::none ? "none " : "some? "; });
        object->startNotifier();
        return object;
    }

    void change(Value value, Whose whose = Whose::all)
    {
        service.setConnection(value, whose);
        platform.runUntilIdle();
    }

    SimulatedPlatform platform;
    ScriptedReachability& service = platform.reachability();
    std::string told;
};

TEST_F(ScriptedReachabilityTest, IsOnWiFiAtTheStart)
{
    EXPECT_EQ(service.makeReachability(Use::held)->connection(), Connection::wifi);
    EXPECT_EQ(service.makeReachability(Use::oneReading)->connection(), Connection::wifi);
}

TEST_F(ScriptedReachabilityTest, TheSameValueAgainIsNoChange)
{
    const auto object = watch();

    change(Value::wifi);
    change(Value::none);
    change(Value::none);

    EXPECT_EQ(told, "none ");
}

TEST_F(ScriptedReachabilityTest, HeldObjectsAndThoseForOneReadingCanDiffer)
{
    const auto held = watch();
    const auto oneReading = service.makeReachability(Use::oneReading);

    change(Value::cellular, Whose::held);
    EXPECT_EQ(held->connection(), Connection::cellular);
    EXPECT_EQ(oneReading->connection(), Connection::wifi);
    EXPECT_EQ(told, "cellular ");

    change(Value::none, Whose::oneReading);
    EXPECT_EQ(held->connection(), Connection::cellular);
    EXPECT_EQ(oneReading->connection(), Connection::none);
    EXPECT_EQ(told, "cellular ");
}

TEST_F(ScriptedReachabilityTest, UnavailableMakesNoNewObjectAndLeavesTheOldOnesAlone)
{
    const auto object = watch();

    change(Value::unavailable);
    EXPECT_EQ(service.makeReachability(Use::held), nullptr);
    EXPECT_EQ(service.makeReachability(Use::oneReading), nullptr);
    EXPECT_EQ(object->connection(), Connection::wifi);
    EXPECT_EQ(told, "");

    change(Value::cellular);
    EXPECT_NE(service.makeReachability(Use::held), nullptr);
    EXPECT_EQ(told, "cellular ");
}

TEST_F(ScriptedReachabilityTest, UnavailableForOneReadingAloneLeavesTheHeldOne)
{
    change(Value::unavailable, Whose::oneReading);

    EXPECT_NE(service.makeReachability(Use::held), nullptr);
    EXPECT_EQ(service.makeReachability(Use::oneReading), nullptr);
}

TEST_F(ScriptedReachabilityTest, ANotifierThatFailsTellsNothing)
{
    service.setNotifierFails(true);
    auto object = watch();
    EXPECT_FALSE(object->startNotifier());

    change(Value::none);

    EXPECT_EQ(told, "");
}

TEST_F(ScriptedReachabilityTest, CallbacksWaitForTheMainQueueAndRunOnTheMainThread)
{
    auto object = service.makeReachability(Use::held);
    object->startNotifier();
    bool isMain = false;
    object->setWhenUnreachable([&](Connection) { isMain = platform.dispatch().isOnMainThread(); });

    service.setConnection(Value::none);
    EXPECT_FALSE(isMain);
    EXPECT_EQ(platform.dispatch().readyBlockCount(), 1U);
    platform.runUntilIdle();
    EXPECT_TRUE(isMain);
}

TEST_F(ScriptedReachabilityTest, ACallbackOnItsWayGoesByTheConnectionWhenItArrives)
{
    const auto object = watch();

    service.setConnection(Value::none);
    service.setConnection(Value::cellular);
    platform.runUntilIdle();

    EXPECT_EQ(told, "cellular cellular ");
}

TEST_F(ScriptedReachabilityTest, ACallbackOnItsWayEndsWithItsObjectAndWithTheNotifier)
{
    auto gone = watch();
    auto stopped = watch();
    service.setConnection(Value::none);

    gone.reset();
    stopped->stopNotifier();
    platform.runUntilIdle();

    EXPECT_EQ(told, "");
}

TEST_F(ScriptedReachabilityTest, TellsOfNotifierCallsAndQuestions)
{
    std::string asked;
    service.setNotifierObserver([&](ScriptedReachability::NotifierAction action) {
        asked += action == ScriptedReachability::NotifierAction::start ? "start " : "stop ";
    });
    service.setQuestionObserver([&](const std::string& question) { asked += question + " "; });
    service.setNotifierFails(true);

    auto object = service.makeReachability(Use::held);
    object->startNotifier();
    object->connection();
    object->stopNotifier();
    service.setConnection(Value::unavailable);
    service.makeReachability(Use::oneReading);

    EXPECT_EQ(asked, "reachabilityInit start reachabilityConnection stop reachabilityInit ");
}

} // namespace
} // namespace telvora
