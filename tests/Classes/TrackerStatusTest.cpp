#include <tests/Classes/SimulatedHost.h>

namespace telvora {
namespace {

using namespace std::chrono_literals;
using Calls = std::vector<std::string>;

// What hooks and moves of the application do to the status of a channel.
class TrackerStatusTest : public SimulatedHost {
protected:
    static void enterBackground()
    {
        simulated().notificationCenter().post(Notification::didEnterBackground);
        simulated().runUntilIdle();
    }

    static void enterForeground()
    {
        simulated().notificationCenter().post(Notification::willEnterForeground);
        simulated().runUntilIdle();
    }

    /// A channel whose hooks write their names down and do what they are told.
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

TEST_F(TrackerStatusTest, AChannelRegisteredAfterStartIsRestartedByTheReturn)
{
    TrackerManager::start();
    addHookedChannel("APM");
    enterForeground();
    EXPECT_EQ(called, (Calls { "restart APM" }));

    // It is running now, so that its start hook is not due.
    TrackerManager::start();
    EXPECT_EQ(called, (Calls { "restart APM" }));
}

TEST_F(TrackerStatusTest, AStartHookThatStopsLeavesItsOwnChannelRunning)
{
    addHookedChannel("APM", [] { TrackerManager::stop(); });
    addHookedChannel("MP");

    TrackerManager::start();
    EXPECT_EQ(called, (Calls { "start APM", "stop APM", "stop MP", "start MP" }));

    called.clear();
    TrackerManager::start();
    EXPECT_TRUE(called.empty());
}

TEST_F(TrackerStatusTest, AStartHookThatStopsEndsTheFollowingOfTheApplicationsMoves)
{
    addHookedChannel("APM", [] { TrackerManager::stop(); });
    TrackerManager::start();
    called.clear();

    enterBackground();

    EXPECT_TRUE(called.empty());
    EXPECT_TRUE(manager().trackerTimer().isRunning());
}

TEST_F(TrackerStatusTest, AnEventThatAStopHookAppendsGoesOutWithTheFlushOfTheBackground)
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
