#include <Telvora/Classes/TrackerManager.h>
#include <tests/Classes/ImmediatePlatform.h>
#include <tests/Platform/Dispatch/RealDispatch.h>

#include <gtest/gtest.h>

namespace telvora {
namespace {

constexpr std::int64_t eventCount = 2'000;

// Real queues, and a client that answers at once. Never destroyed, because the library's shared
// objects still use it.
class ThreadedPlatform {
public:
    static void install() { installPlatform((new ThreadedPlatform)->m_services); }

private:
    RealDispatch m_dispatch;
    SimulatedPlatform m_simulated;
    ImmediateClient m_client;
    Platform m_services { m_simulated.application(), m_simulated.bundle(), m_simulated.clock(),
        m_simulated.device(), m_dispatch, m_simulated.fileManager(), m_client,
        m_simulated.lifeCycleChecker(), m_simulated.notificationCenter(),
        m_simulated.reachability(), m_simulated.screens(), m_simulated.telephony(),
        m_simulated.uuids() };
};

// Large, so that making a batch takes long.
Dictionary commonDatas()
{
    Dictionary dictionary;
    for (int number = 0; number < 300; ++number)
        dictionary["key " + std::to_string(number)] = "text that needs memory of its own";
    return dictionary;
}

TEST(ChannelListStressTest, AnEventThatIsNoLongerPendingNeverBecomesPendingAgain)
{
    ThreadedPlatform::install();
    const auto channel = std::make_shared<TrackerConfig>(
        "APM", 1, StringDictionary(), Array(), false, [] { return "http://collector.example/"; });
    TrackerManager::shared().register_(channel);
    TrackerManager::shared().setupCommonDatas(commonDatas(), "data", "APM");

    for (std::int64_t number = 0; number < eventCount; ++number)
        TrackerManager::shared().appendTracker({ { "n", number } }, "APM");

    int cameBack = 0;
    std::int64_t shown = -1;
    std::int64_t gone = -1;
    while (channel->ledger().events.delivered < eventCount) {
        const Array pending = channel->apiDatas();
        if (pending.empty()) {
            gone = shown;
            continue;
        }
        shown = pending.front().at("n").as_int64();
        cameBack += shown <= gone;
    }

    EXPECT_EQ(cameBack, 0);
}

} // namespace
} // namespace telvora
