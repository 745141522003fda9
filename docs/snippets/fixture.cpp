#include <cstdint>

void submitOrder(std::int64_t number);

// [fixture]
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <Telvora/Telvora.h>

#include <gtest/gtest.h>

using namespace telvora;

class TelemetryTest : public testing::Test {
protected:
    TelemetryTest()
    {
        simulated.httpClient().setAnswers({ ScriptedAnswer::body(R"({"success": true})") }, true);
        const StartResult result = startTelvora(
            { .channels = { { .index = "E2E", .limit = 2, .url = "https://collector.example" } } },
            simulated.services());
        EXPECT_TRUE(result) << result.text();
    }

    SimulatedPlatform simulated; // its destructor takes the platform down
};

TEST_F(TelemetryTest, TwoOrdersAreSentAtOnce)
{
    submitOrder(1);
    submitOrder(2);
    simulated.runUntilIdle();

    EXPECT_EQ(simulated.httpClient().requestCount(), 1u);
    EXPECT_EQ(TrackerManager::shared().ledger("E2E")->events.delivered, 2);
}

TEST_F(TelemetryTest, AnOrderIsSentAfterAMinute)
{
    submitOrder(1);
    simulated.advance(std::chrono::seconds(60));

    EXPECT_EQ(TrackerManager::shared().ledger("E2E")->events.delivered, 1);
}
// [fixture]

// The code under test: whatever the host does with the library.
void submitOrder(std::int64_t number)
{
    TrackerManager::shared().enrollE2ETrack({ { "name", "order.submit" }, { "number", number } });
}
