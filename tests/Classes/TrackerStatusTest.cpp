#include <tests/Classes/SimulatedHost.h>

namespace telvora {
namespace {

using namespace std::chrono_literals;
using Calls = std::vector<std::string>;

// How hooks and the application's notifications change the status of a channel.
class TrackerStatusTest : public SimulatedHost {
protected:
    // A channel whose hooks record their names and then run the given closures.
    std::shared_ptr<TrackerConfig> addHookedChannel(const std::string& index,
        const std::function<void()>& onStart = {}, const std::function<void()>& onStop = {})
    {
        const auto config = addChannel(index);
        const auto hook = [kept = m_called, index](
                              const std::string& name, const std::function<void()>& action) {
            return [kept, index, name, action] {
                kept->push_back(name + " " + index);
                if (action)
                    action();
            };
        };
        config->setStartHook(hook("start", onStart));
        config->setStopHook(hook("stop", onStop));
        config->setRestartHook(hook("restart", {}));
        return config;
    }

private:
    // Shared with the hooks.
    const std::shared_ptr<Calls> m_called = std::make_shared<Calls>();

protected:
    Calls& called = *m_called;
};

TEST_F(TrackerStatusTest, AReturnToTheForegroundRestartsAChannelRegisteredAfterStart)
{
    TrackerManager::start();
    addHookedChannel("APM");
    enterForeground();
    EXPECT_EQ(called, (Calls { "restart APM" }));

    // The channel is running now, so its start hook is not called.
    TrackerManager::start();
    EXPECT_EQ(called, (Calls { "restart APM" }));
}

TEST_F(TrackerStatusTest, AStartHookThatCallsStopLeavesItsOwnChannelRunning)
{
    addHookedChannel("APM", [] { TrackerManager::stop(); });
    addHookedChannel("MP");

    TrackerManager::start();
    EXPECT_EQ(called, (Calls { "start APM", "stop APM", "stop MP", "start MP" }));

    called.clear();
    TrackerManager::start();
    EXPECT_TRUE(called.empty());
}

TEST_F(TrackerStatusTest, AStartHookThatCallsStopEndsTheObservingOfNotifications)
{
    addHookedChannel("APM", [] { TrackerManager::stop(); });
    TrackerManager::start();
    called.clear();

    enterBackground();

    EXPECT_TRUE(called.empty());
    EXPECT_TRUE(manager().trackerTimer().isRunning());
}

TEST_F(TrackerStatusTest, AnEventThatAStopHookAppendsIsSentWithTheFlushInTheBackground)
{
    answerAll(success());
    addHookedChannel("APM", {}, [] { manager().appendTracker(event(2), "APM"); });
    TrackerManager::start();
    append("APM", 1);

    enterBackground();

    ASSERT_EQ(requestCount(), 1u);
    EXPECT_EQ(numbersIn(0), (std::vector<std::int64_t> { 1, 2 }));
}

TEST_F(TrackerStatusTest, AnEventThatAStopHookAppendsStaysPendingAfterStop)
{
    const auto config
        = addHookedChannel("APM", {}, [] { manager().appendTracker(event(1), "APM"); });
    TrackerManager::start();

    TrackerManager::stop();
    simulated().runUntilIdle();

    EXPECT_EQ(config->apiDatas().size(), 1u);
    EXPECT_EQ(requestCount(), 0u);
}

TEST_F(TrackerStatusTest, ASecondStopCallsTheStopHooksAgain)
{
    addHookedChannel("APM");
    TrackerManager::start();

    TrackerManager::stop();
    TrackerManager::stop();

    EXPECT_EQ(called, (Calls { "start APM", "stop APM", "stop APM" }));
}

TEST_F(TrackerStatusTest, AStopBeforeAnyStartCallsTheStopHooks)
{
    addHookedChannel("APM");

    TrackerManager::stop();

    EXPECT_EQ(called, (Calls { "stop APM" }));
}

} // namespace
} // namespace telvora
