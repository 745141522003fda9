#include <tests/Classes/SimulatedHost.h>

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Sending everything on demand, and the end of the library's work.

namespace telvora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class FlushTest : public SimulatedHost {
protected:
    static constexpr FlushResult atRest { true, 0 };

    static FlushResult flush(std::chrono::duration<double> deadline)
    {
        return TrackerManager::flush(deadline).value();
    }

    static std::vector<std::string> paths()
    {
        std::vector<std::string> paths;
        for (const HTTPRequest& request : simulated().httpClient().requests())
            paths.push_back(request.url.substr(request.url.rfind('/') + 1));
        return paths;
    }

    static std::chrono::steady_clock::time_point now() { return simulated().clock().steadyNow(); }
};

TEST_F(FlushTest, PostsEveryPendingListByIndexAndWaitsForTheAnswers)
{
    addChannel("MP");
    addChannel("E2E");
    addChannel("Sentry");
    answerAll(success().after(3s));
    manager().appendTracker(event(1), "MP");
    manager().appendTracker(event(2), "E2E");
    const auto before = now();

    EXPECT_EQ(flush(10s), atRest);

    EXPECT_THAT(paths(), ElementsAre("E2E", "MP"));
    EXPECT_EQ(now() - before, 3s);
    EXPECT_EQ(ledgerOf("MP").events.delivered, 1);
}

TEST_F(FlushTest, ReturnsAtTheDeadlineWithWhatIsLeft)
{
    addChannel("E2E");
    answerAll(success().after(30s));
    append("E2E", 1, 3);
    const auto before = now();

    EXPECT_EQ(flush(10s), (FlushResult { false, 3 }));
    EXPECT_EQ(now() - before, 10s);
    EXPECT_EQ(flush(1s), (FlushResult { false, 3 }));
    // The end of the wait is an upper limit, however far away.
    EXPECT_EQ(flush(std::chrono::years(1)), atRest);
    EXPECT_EQ(now() - before, 30s);
    EXPECT_EQ(flush(std::chrono::duration<double>(1e300)), atRest);
}

TEST_F(FlushTest, ADeadlineOfZeroPostsAndTakesNoTime)
{
    addChannel("E2E");
    answerAll(success().after(1ns));
    append("E2E", 1, 2);
    const auto before = now();

    EXPECT_EQ(flush(0s), (FlushResult { false, 2 }));

    EXPECT_EQ(requestCount(), 1u);
    EXPECT_EQ(now(), before);
}

TEST_F(FlushTest, ABadDeadlineIsRefused)
{
    addChannel("E2E");
    append("E2E", 1);
    for (const double seconds : { -1.0, -1e-12, std::numeric_limits<double>::quiet_NaN(),
             std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity() }) {
        const std::chrono::duration<double> deadline(seconds);
        EXPECT_EQ(TrackerManager::flush(deadline), std::nullopt) << seconds;
        EXPECT_EQ(TrackerManager::shutdown(deadline), std::nullopt) << seconds;
    }
    append("E2E", 2);

    EXPECT_EQ(requestCount(), 0u);
    EXPECT_EQ(ledgerOf("E2E").events.pending, 2);
}

TEST_F(FlushTest, WaitingBatchesAreTriedOnceEachAfterThePendingList)
{
    const auto channel = addChannel("E2E");
    answerAll(failure());
    append("E2E", 1);
    flush(1s);
    channel->insert(std::make_shared<TrackerRetryData>(makeBatch({ { "old", true } }), 2));
    answerAll(ScriptedAnswer::later());
    append("E2E", 2); // which gives the entry of more failures its chance
    answerAll(failure());
    simulated().httpClient().answer(2, failure());
    simulated().runUntilIdle();
    channel->insert(std::make_shared<TrackerRetryData>(makeBatch({ { "older", true } }), 2));
    simulated().runUntilIdle();

    EXPECT_EQ(flush(10s), (FlushResult { true, 2 }));

    ASSERT_EQ(requestCount(), 6u);
    EXPECT_THAT(numbersIn(2), ElementsAre(2));
    EXPECT_TRUE(body(3).contains("old"));
    EXPECT_TRUE(body(4).contains("older"));
    EXPECT_THAT(numbersIn(5), ElementsAre(1));
    expectBalanced("E2E");
}

TEST_F(FlushTest, ABatchThatFailsBeforeThePostReturnsIsNotTriedAgain)
{
    addChannel("E2E");
    simulated().httpClient().setAnswers({ failure().inlined() }, true);
    append("E2E", 1);

    EXPECT_EQ(flush(10s), (FlushResult { true, 1 }));

    EXPECT_EQ(requestCount(), 1u);
    EXPECT_EQ(ledgerOf("E2E").batches.waiting, 1);
}

TEST_F(FlushTest, AnEventThatArrivesMeanwhileGivesAWaitingBatchItsChance)
{
    addChannel("E2E");
    addChannel("MP");
    simulated().httpClient().setAnswers({ failure().after(1s), success().after(5s) }, true);
    append("E2E", 1);
    append("MP", 2);
    simulated().dispatch().globalAsyncAfter(2s, [] { manager().appendTracker(event(3), "E2E"); });

    EXPECT_EQ(flush(10s), (FlushResult { true, 1 }));

    ASSERT_EQ(requestCount(), 3u);
    EXPECT_THAT(numbersIn(2), ElementsAre(1));
    EXPECT_EQ(ledgerOf("E2E").events.pending, 1);
}

TEST_F(FlushTest, ATickThatFallsDueMeanwhileIsATickLikeAnyOther)
{
    addChannel("E2E");
    TrackerManager::start();
    answerAll(success().after(70s));
    append("E2E", 1);
    simulated().dispatch().globalAsyncAfter(50s, [] { manager().appendTracker(event(2), "E2E"); });

    EXPECT_EQ(flush(1000s), atRest);

    EXPECT_THAT(numbersIn(1), ElementsAre(2));
    EXPECT_EQ(ledgerOf("E2E").events.delivered, 2);
}

TEST_F(FlushTest, WhatATickIsSendingIsNotSentAgain)
{
    bool isFirst = true;
    manager().register_(
        std::make_shared<TrackerConfig>("E2E", 9, StringDictionary(), Array(), false, [&] {
            if (std::exchange(isFirst, false)) {
                manager().appendTracker(event(3), "E2E");
                manager().appendTracker({ { "number", 4 }, { "text", "\xFF" } }, "E2E");
                TrackerManager::flush(1s);
            }
            return "http://collector.example/";
        }));
    answerAll(success());
    append("E2E", 1, 2);

    manager().timerEventHandler(manager().config("E2E"));
    simulated().runUntilIdle();

    ASSERT_EQ(requestCount(), 2u);
    EXPECT_THAT(numbersIn(0), ElementsAre(1, 2));
    EXPECT_THAT(numbersIn(1), ElementsAre(3, 4));
    EXPECT_EQ(ledgerOf("E2E").events.delivered, 4);
    expectBalanced("E2E");
}

TEST_F(FlushTest, ATickThatSendsEverythingLeavesNothingToFlush)
{
    bool isFirst = true;
    manager().register_(
        std::make_shared<TrackerConfig>("E2E", 9, StringDictionary(), Array(), false, [&] {
            if (std::exchange(isFirst, false))
                TrackerManager::flush(1s);
            return "http://collector.example/";
        }));
    answerAll(success());
    append("E2E", 1, 2);

    manager().timerEventHandler(manager().config("E2E"));
    simulated().runUntilIdle();

    EXPECT_EQ(requestCount(), 1u);
    EXPECT_EQ(ledgerOf("E2E").batches.accepted, 1);
    expectBalanced("E2E");
}

TEST_F(FlushTest, HeldWorkRunsForTheCall)
{
    addChannel("E2E");
    answerAll(success());
    simulated().setHold(true);
    manager().appendTracker(event(1), "E2E");

    EXPECT_EQ(flush(1s), atRest);

    EXPECT_TRUE(simulated().dispatch().isHeld());
    EXPECT_THAT(numbersIn(0), ElementsAre(1));
}

TEST_F(FlushTest, FromEachClosureInTheMiddleOfTheWorkItReturnsAtOnce)
{
    std::vector<std::string> asked;
    const auto flushIn = [&](const std::string& closure) {
        const auto before = now();
        EXPECT_FALSE(flush(100s).atRest) << closure;
        EXPECT_EQ(now(), before) << closure;
        asked.push_back(closure);
    };
    manager().register_(std::make_shared<TrackerConfig>(
        "E2E", 1, StringDictionary { { "no name", "" } }, Array(), false, [&] {
            flushIn("url");
            return "http://collector.example/";
        }));
    manager().setQvxUuid([&] {
        flushIn("uuid");
        return std::optional<std::string>();
    });
    TrackerManager::setTriggerCallback([&](auto&, auto&) { flushIn("trigger"); });
    TrackerManager::setDiagnosticsHandler([&](auto&) { flushIn("diagnostic"); });
    answerAll(success());

    append("E2E", 1);

    EXPECT_THAT(asked, ElementsAre("url", "uuid", "trigger", "diagnostic"));
    TrackerManager::setTriggerCallback({});
    TrackerManager::setDiagnosticsHandler({});
    EXPECT_EQ(ledgerOf("E2E").events.delivered, 1);
}

TEST_F(FlushTest, InAHookItWaits)
{
    const auto channel = addChannel("E2E");
    answerAll(success().after(2s));
    std::optional<FlushResult> inHook;
    channel->setStopHook([&] { inHook = TrackerManager::flush(10s); });
    TrackerManager::start();
    append("E2E", 1);

    enterBackground();

    EXPECT_EQ(inHook, atRest);
}

TEST_F(FlushTest, ABatchThatCannotBeSentIsAnsweredToo)
{
    addChannel("E2E");
    manager().register_(std::make_shared<TrackerConfig>("MP", 9));
    manager().appendTracker({ { "n", std::nan("") } }, "E2E");
    manager().appendTracker(event(1), "MP"); // which has no address
    simulated().runUntilIdle();

    EXPECT_EQ(flush(1s), (FlushResult { true, 1 }));

    EXPECT_EQ(ledgerOf("E2E").events.dropped.unencodable, 1);
    EXPECT_EQ(ledgerOf("MP").events.waiting, 1);
}

TEST_F(FlushTest, UploadsThatBeginLaterAreNotWaitedFor)
{
    addChannel("E2E", 1);
    simulated().httpClient().setAnswers({ ScriptedAnswer::later() }, true);
    append("E2E", 1, 3);

    EXPECT_EQ(flush(5s), (FlushResult { false, 3 }));
    for (std::size_t number : { 2u, 1u, 3u })
        simulated().httpClient().answer(number, success());
    simulated().runUntilIdle();

    EXPECT_EQ(flush(5s), atRest);
}

using ShutdownTest = FlushTest;

TEST_F(ShutdownTest, RefusesEventsFromItsBeginningAndPostsThoseBefore)
{
    addChannel("E2E");
    answerAll(success());
    watchEvents();
    simulated().setHold(true);
    manager().appendTracker(event(1), "E2E");

    EXPECT_EQ(TrackerManager::shutdown(5s), atRest);
    simulated().setHold(false);
    append("E2E", 2);
    append("nobody", 3);

    EXPECT_THAT(numbersIn(0), ElementsAre(1));
    EXPECT_EQ(requestCount(), 1u);
    EXPECT_EQ(seen.size(), 3u);
    const LedgerAccount events = ledgerOf("E2E").events;
    EXPECT_EQ(events.accepted, 2);
    EXPECT_EQ(events.delivered, 1);
    EXPECT_EQ(events.dropped.afterShutdown, 1);
    EXPECT_EQ(manager().ledgers().at("").events.dropped.unknownChannel, 1);
    expectBalanced("E2E");
}

TEST_F(ShutdownTest, EndsTimerObservationAndNotifierAndCallsNoStopHook)
{
    const auto channel = addChannel("E2E");
    std::vector<std::string> called;
    channel->setStopHook([&] { called.push_back("stop"); });
    channel->setRestartHook([&] { called.push_back("restart"); });
    TrackerManager::start();

    TrackerManager::shutdown(1s);
    enterBackground();
    enterForeground();
    TrackerManager::start();

    EXPECT_FALSE(manager().trackerTimer().isRunning());
    EXPECT_THAT(called, ElementsAre());
    for (const auto notification :
        { Notification::didEnterBackground, Notification::willEnterForeground })
        EXPECT_EQ(simulated().notificationCenter().registrationCount(notification), 0u);
}

TEST_F(ShutdownTest, NothingBeginsAfterwards)
{
    const auto channel = addChannel("E2E");
    answerAll(failure());
    append("E2E", 1);

    EXPECT_EQ(TrackerManager::shutdown(5s), (FlushResult { true, 1 }));
    const std::size_t before = requestCount();
    manager().timerEventHandler(channel);
    append("E2E", 2);
    EXPECT_EQ(TrackerManager::flush(5s), (FlushResult { true, 1 }));
    EXPECT_EQ(TrackerManager::shutdown(5s), (FlushResult { true, 1 }));
    addChannel("MP");

    EXPECT_EQ(requestCount(), before);
    EXPECT_EQ(channel->retryCache().size(), 1u);
    EXPECT_EQ(manager().config("MP"), nullptr);
    expectBalanced("E2E");
}

TEST_F(ShutdownTest, ADeadlineOfZeroStillPostsWhatThereIs)
{
    addChannel("E2E");
    answerAll(success().after(1s));
    append("E2E", 1);

    EXPECT_EQ(TrackerManager::shutdown(0s), (FlushResult { false, 1 }));
    simulated().advance(1s);

    EXPECT_EQ(ledgerOf("E2E").events.delivered, 1);
}

TEST_F(ShutdownTest, InTheTriggerCallbackItTakesEffectAfterTheCallback)
{
    addChannel("E2E");
    answerAll(success());
    TrackerManager::setTriggerCallback([](auto&, auto&) { TrackerManager::shutdown(100s); });

    append("E2E", 1);
    append("E2E", 2);

    EXPECT_THAT(numbersIn(0), ElementsAre(1));
    EXPECT_EQ(ledgerOf("E2E").events.dropped.afterShutdown, 1);
    TrackerManager::setTriggerCallback({});
}

TEST_F(ShutdownTest, TheTriggerCallbackSeesEventsAfterwardsUntilItIsTakenAway)
{
    addChannel("E2E");
    watchEvents();
    TrackerManager::shutdown(1s);

    append("E2E", 1);
    EXPECT_EQ(seen.size(), 1u);
    TrackerManager::setTriggerCallback({});
    append("E2E", 2);

    EXPECT_EQ(seen.size(), 1u);
    EXPECT_EQ(ledgerOf("E2E").events.dropped.afterShutdown, 2);
}

TEST_F(ShutdownTest, TheProviderGetsNothingAfterwards)
{
    addChannel("APM");
    const auto provider = installProvider();

    TrackerManager::shutdown(1s);
    manager().enrollPageViewTrack("Page");
    simulated().runUntilIdle();

    EXPECT_TRUE(provider->contents.empty());
    EXPECT_EQ(ledgerOf("APM").events.dropped.afterShutdown, 1);
}

} // namespace
} // namespace telvora
