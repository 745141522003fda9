#include <tests/Classes/SimulatedHost.h>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class TwoChannelsOneDay : public SimulatedHost {
protected:
    static void post(Notification notification)
    {
        simulated().notificationCenter().post(notification);
        simulated().runUntilIdle();
    }
};

// Events during a day, a night in the background, and the next day: every event arrives once, in
// order, with the common data of its channel.
TEST_F(TwoChannelsOneDay, EveryEventArrivesOnceAndInOrder)
{
    addChannel("MP", 5);
    addChannel("E2E", 3);
    answerAll(success());
    manager().setupCommonMPDatas();
    manager().setupCommonE2EDatas();
    TrackerManager::start();

    for (std::int64_t minute = 0; minute < 20; ++minute) {
        append("MP", minute);
        append("E2E", minute, minute % 2 == 0 ? 1 : 0);
        simulated().advance(25s);
    }
    post(Notification::didEnterBackground);
    simulated().advance(8h);
    post(Notification::willEnterForeground);
    append("MP", 20);
    simulated().advance(60s);

    std::vector<std::int64_t> mp;
    std::vector<std::int64_t> e2e;
    for (std::size_t request = 0; request < requestCount(); ++request) {
        const bool isMP = simulated().httpClient().requests().at(request).url.ends_with("/MP");
        const auto numbers = numbersIn(request, isMP ? "data-list" : "data");
        auto& all = isMP ? mp : e2e;
        all.insert(all.end(), numbers.begin(), numbers.end());
        EXPECT_EQ(body(request).at("client"), "ios");
    }
    ASSERT_EQ(mp.size(), 21u);
    ASSERT_EQ(e2e.size(), 10u);
    EXPECT_TRUE(std::is_sorted(mp.begin(), mp.end()));
    EXPECT_TRUE(std::is_sorted(e2e.begin(), e2e.end()));
    expectBalanced("MP");
    expectBalanced("E2E");
}

} // namespace
} // namespace telvora
