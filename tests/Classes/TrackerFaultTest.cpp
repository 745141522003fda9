#include <tests/Classes/SimulatedHost.h>

#include <new>
#include <stdexcept>

// A service of the platform throws while a batch is made or sent. The ledger counts the batch as an
// internal error, and everything else works as before.

namespace telvora {
namespace {

using namespace std::chrono_literals;
using Numbers = std::vector<std::int64_t>;

// The parameter names what throws: the HTTP client's send(), or a reading of the platform.
class TrackerFaultTest : public SimulatedHost, public testing::WithParamInterface<std::string> {
protected:
    TrackerFaultTest()
    {
        watchEvents();
        answerAll(success());
    }

    // Lets it throw once, the next time.
    static void letItThrow()
    {
        const auto isArmed = std::make_shared<bool>(true);
        if (GetParam() == "client") {
            simulated().httpClient().setRequestObserver([isArmed](std::size_t, const HTTPRequest&) {
                if (std::exchange(*isArmed, false))
                    throw std::runtime_error("no more requests");
            });
            return;
        }
        simulated().setQuestionObserver([isArmed, point = GetParam()](const std::string& question) {
            if (question == point && std::exchange(*isArmed, false))
                throw std::bad_alloc();
        });
    }

    static void expectInternalErrors(
        const std::string& index, std::int64_t events, std::int64_t batches)
    {
        EXPECT_EQ(ledgerOf(index).events.dropped.internalError, events);
        EXPECT_EQ(ledgerOf(index).batches.dropped.internalError, batches);
        expectBalanced(index);
    }

    static void tick() { simulated().advance(60s); }
};

INSTANTIATE_TEST_SUITE_P(Points, TrackerFaultTest,
    testing::Values("client", "infoDictionary:CFBundleShortVersionString", "systemVersion"),
    [](const auto& point) { return point.param.substr(0, point.param.find(':')); });

TEST_P(TrackerFaultTest, AFullListThatCannotBeSentIsAnInternalError)
{
    const auto config = addChannel("APM", 2);
    letItThrow();

    append("APM", 1, 2);

    expectInternalErrors("APM", 2, 1);
    EXPECT_TRUE(config->apiDatas().empty());
    EXPECT_EQ(seen.size(), 2u);
}

TEST_P(TrackerFaultTest, TheNextFullListIsSentAndTheLostOneIsNot)
{
    addChannel("APM", 2);
    letItThrow();

    append("APM", 1, 4);

    EXPECT_EQ(numbersIn(requestCount() - 1), (Numbers { 3, 4 }));
    EXPECT_EQ(ledgerOf("APM").events.delivered, 2);
    expectBalanced("APM");
}

TEST_P(TrackerFaultTest, AFlushThatCannotBeSentIsClearedAndTheOtherChannelsAreFlushed)
{
    const auto apm = addChannel("APM");
    addChannel("MP");
    TrackerManager::start();
    append("APM", 1, 2);
    append("MP", 3);
    letItThrow();

    tick();

    expectInternalErrors("APM", 2, 1);
    EXPECT_TRUE(apm->apiDatas().empty());
    EXPECT_EQ(ledgerOf("MP").events.delivered, 1);
    const std::size_t requests = requestCount();
    tick();
    EXPECT_EQ(requestCount(), requests);
}

TEST_P(TrackerFaultTest, ARetryThatCannotBeSentIsAnInternalError)
{
    const auto config = addChannel("APM", 1);
    answerAll(failure());
    append("APM", 1);
    ASSERT_EQ(config->retryCache().size(), 1u);
    TrackerManager::start();
    letItThrow();

    tick();

    expectInternalErrors("APM", 1, 1);
    EXPECT_EQ(config->retryCache().size(), 0u);
}

TEST_P(TrackerFaultTest, AFlushInTheBackgroundReachesEveryChannel)
{
    addChannel("APM");
    addChannel("MP");
    TrackerManager::start();
    append("APM", 1);
    append("MP", 2);
    letItThrow();

    simulated().notificationCenter().post(Notification::didEnterBackground);
    simulated().runUntilIdle();

    expectInternalErrors("APM", 1, 1);
    EXPECT_EQ(ledgerOf("MP").events.delivered, 1);
}

} // namespace
} // namespace telvora
