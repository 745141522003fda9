#include <tests/Classes/SimulatedHost.h>

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <vector>

// What setEnabled() does to what is pending, under way and handed over later.

namespace telvora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class ConsentTest : public SimulatedHost {
protected:
    static void setEnabled(bool on)
    {
        TrackerManager::setEnabled(on);
        simulated().runUntilIdle();
    }
};

TEST_F(ConsentTest, OffDropsWhatIsPendingAndWaitsAndRefusesEvents)
{
    const auto channel = addChannel("E2E");
    answerAll(failure());
    append("E2E", 1, 2);
    TrackerManager::flush(1s);
    channel->insert(std::make_shared<TrackerRetryData>(makeBatch({ { "old", true } }), 1));
    simulated().runUntilIdle();
    const std::size_t before = requestCount();
    watchEvents();

    manager().appendTracker(event(3), "E2E");
    setEnabled(false);
    append("E2E", 4);
    TrackerManager::flush(1s);
    manager().timerEventHandler(channel);
    simulated().runUntilIdle();

    EXPECT_EQ(seen.size(), 2u);
    const LedgerSnapshot ledger = ledgerOf("E2E");
    EXPECT_EQ(ledger.events.accepted, 4);
    EXPECT_EQ(ledger.events.dropped.disabled, 4);
    EXPECT_EQ(ledger.batches.dropped.disabled, 2);
    EXPECT_EQ(requestCount(), before);
    EXPECT_TRUE(channel->apiDatas().empty());
    EXPECT_EQ(channel->retryCache().size(), 0u);
    expectBalanced("E2E");
}

TEST_F(ConsentTest, OnAgainIsAsBeforeWithEmptyLists)
{
    const auto channel = addChannel("E2E", 2);
    answerAll(success());
    append("E2E", 1);
    setEnabled(false);
    channel->insert(std::make_shared<TrackerRetryData>(makeBatch({ { "old", true } }), 1));
    append("E2E", 2);
    setEnabled(true);
    append("E2E", 3, 2);

    ASSERT_EQ(requestCount(), 1u);
    EXPECT_THAT(numbersIn(0), ElementsAre(3, 4));
    EXPECT_EQ(ledgerOf("E2E").events.dropped.disabled, 2);
    EXPECT_EQ(ledgerOf("E2E").batches.dropped.disabled, 1);
    EXPECT_EQ(ledgerOf("E2E").events.delivered, 2);
    expectBalanced("E2E");
}

TEST_F(ConsentTest, ARequestThatWasSentIsDeliveredOrDroppedAndNeverTriedAgain)
{
    addChannel("E2E", 1);
    simulated().httpClient().setAnswers({ success().after(2s), failure().after(4s) }, true);
    append("E2E", 1, 2);
    setEnabled(false);
    setEnabled(true);
    simulated().advance(10s);
    append("E2E", 3);

    EXPECT_EQ(requestCount(), 3u);
    const LedgerSnapshot ledger = ledgerOf("E2E");
    EXPECT_EQ(ledger.events.delivered, 1);
    EXPECT_EQ(ledger.events.dropped.disabled, 1);
    EXPECT_EQ(ledger.batches.dropped.disabled, 1);
    EXPECT_EQ(ledger.lastFailure.value().outcome, UploadFailure::Outcome::dropped);
    expectBalanced("E2E");
}

TEST_F(ConsentTest, TakesEffectInTheOrderOfCalls)
{
    addChannel("E2E", 1);
    answerAll(success());
    simulated().setHold(true);

    manager().appendTracker(event(1), "E2E");
    TrackerManager::setEnabled(false);
    manager().appendTracker(event(2), "E2E");
    TrackerManager::setEnabled(true);
    manager().appendTracker(event(3), "E2E");
    simulated().setHold(false);
    simulated().runUntilIdle();

    // No request began after it was switched off, and none of an event of before.
    ASSERT_EQ(requestCount(), 1u);
    EXPECT_THAT(numbersIn(0), ElementsAre(3));
    EXPECT_EQ(ledgerOf("E2E").events.dropped.disabled, 2);
    expectBalanced("E2E");
}

TEST_F(ConsentTest, OffOnAndOffAgainBeforeAnythingRunsSendsNothing)
{
    addChannel("E2E", 1);
    answerAll(success());
    simulated().setHold(true);

    TrackerManager::setEnabled(false);
    TrackerManager::setEnabled(true);
    manager().appendTracker(event(1), "E2E");
    TrackerManager::setEnabled(false);
    simulated().setHold(false);
    simulated().runUntilIdle();

    EXPECT_EQ(requestCount(), 0u);
    EXPECT_EQ(ledgerOf("E2E").events.dropped.disabled, 1);
    expectBalanced("E2E");
}

TEST_F(ConsentTest, TheURLHookMayWithdrawIt)
{
    manager().register_(
        std::make_shared<TrackerConfig>("E2E", 1, StringDictionary(), Array(), false, [] {
            TrackerManager::setEnabled(false);
            return "http://collector.example/";
        }));
    answerAll(success());

    append("E2E", 1);

    EXPECT_EQ(requestCount(), 0u);
    EXPECT_EQ(ledgerOf("E2E").events.dropped.disabled, 1);
    EXPECT_EQ(ledgerOf("E2E").batches.dropped.disabled, 1);
    expectBalanced("E2E");
}

TEST_F(ConsentTest, TheProviderGetsNothing)
{
    addChannel("APM");
    const auto provider = installProvider();

    TrackerManager::setEnabled(false);
    manager().enrollPageViewTrack("Page");
    manager().reportAPMDict({ { "t", "own" } });
    simulated().runUntilIdle();
    EXPECT_TRUE(provider->contents.empty());
    EXPECT_EQ(ledgerOf("APM").events.dropped.disabled, 2);

    TrackerManager::setEnabled(true);
    manager().enrollPageViewTrack("Page");
    EXPECT_EQ(provider->contents.size(), 1u);
}

TEST_F(ConsentTest, OnWhileItIsOnChangesNothing)
{
    const auto channel = addChannel("E2E", 2);
    simulated().httpClient().setAnswers({ ScriptedAnswer::later() }, true);
    append("E2E", 1, 3);
    channel->insert(std::make_shared<TrackerRetryData>(makeBatch({ { "old", true } }), 1));
    simulated().runUntilIdle();
    setEnabled(true);

    EXPECT_EQ(channel->apiDatas().size(), 1u);
    EXPECT_EQ(channel->retryCache().size(), 1u);

    // What is under way can still be withdrawn.
    setEnabled(false);
    simulated().httpClient().answer(1, failure());
    simulated().runUntilIdle();
    EXPECT_EQ(ledgerOf("E2E").events.dropped.disabled, 3);
    EXPECT_EQ(ledgerOf("E2E").events.waiting, 0);
    expectBalanced("E2E");
}

TEST_F(ConsentTest, HooksAndTimerGoOn)
{
    const auto channel = addChannel("E2E");
    std::vector<std::string> called;
    channel->setStopHook([&] { called.push_back("stop"); });
    channel->setRestartHook([&] { called.push_back("restart"); });
    TrackerManager::start();

    setEnabled(false);
    enterBackground();
    enterForeground();

    EXPECT_THAT(called, ElementsAre("stop", "restart"));
    EXPECT_TRUE(manager().trackerTimer().isRunning());
}

TEST_F(ConsentTest, UnknownChannelsAreNamedFirst)
{
    setEnabled(false);
    append("nobody", 1);

    EXPECT_EQ(manager().ledgers().at("").events.dropped.unknownChannel, 1);
    EXPECT_EQ(manager().ledgers().at("").events.dropped.disabled, 0);
}

} // namespace
} // namespace telvora
