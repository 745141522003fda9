#include <tests/Classes/SimulatedHost.h>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class RetryOutage : public SimulatedHost { };

// The collector is unreachable for three minutes. A batch that has failed four times by then is
// dropped and counted; the other one is delivered.
TEST_F(RetryOutage, BatchesWithRetriesLeftAreDeliveredAndTheOthersAreCounted)
{
    const auto config = addChannel("E2E", 2);
    answerAll(failure());
    TrackerManager::start();

    append("E2E", 1, 2); // a batch that fails at once
    simulated().advance(60s); // its first retry
    simulated().advance(60s); // its second
    append("E2E", 3, 2); // the third, set off by the first event; the second fills a new batch
    EXPECT_EQ(config->retryCache().size(), 1u);
    EXPECT_EQ(ledgerOf("E2E").events.dropped.retriesExhausted, 2);
    EXPECT_EQ(ledgerOf("E2E").events.waiting, 2);

    answerAll(success());
    simulated().advance(60s);

    EXPECT_EQ(ledgerOf("E2E").events.delivered, 2);
    EXPECT_EQ(numbersIn(requestCount() - 1), (std::vector<std::int64_t> { 3, 4 }));
    expectBalanced("E2E");
}

} // namespace
} // namespace telvora
