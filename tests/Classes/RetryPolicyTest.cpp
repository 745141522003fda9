#include <tests/Classes/SimulatedHost.h>

#include <Telvora/Classes/Utils/RetryAfter.h>

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

// A patient channel: when a batch is tried again, and how often.

namespace telvora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using Seconds = std::chrono::duration<double>;

TEST(RetryPolicyWaitTest, DoublesUpToTheLongest)
{
    const RetryPolicy policy { .first = 2s, .longest = 11s, .jitter = false };

    EXPECT_EQ(policy.wait(0, 0s, 0), 0s);
    EXPECT_EQ(policy.wait(1, 0s, 0), 2s);
    EXPECT_EQ(policy.wait(2, 0s, 0), 4s);
    EXPECT_EQ(policy.wait(3, 0s, 0), 8s);
    EXPECT_EQ(policy.wait(4, 0s, 0), 11s);
    EXPECT_EQ(policy.wait(std::numeric_limits<std::int64_t>::max(), 0s, 0), 11s);
    EXPECT_EQ(policy.wait(-5, 0s, 0), 2s);
}

TEST(RetryPolicyWaitTest, JitterDrawsFromTheUpperHalf)
{
    const RetryPolicy policy { .first = 8s };

    EXPECT_EQ(policy.wait(1, 0s, 0), 4s);
    EXPECT_EQ(policy.wait(1, 0s, 0.5), 6s);
    EXPECT_LT(policy.wait(1, 0s, std::nextafter(1.0, 0.0)), 8001ms);
}

TEST(RetryPolicyWaitTest, WhatTheCollectorAsksForOnlyLengthensAWaitUpToTheLongest)
{
    const RetryPolicy policy { .first = 4s, .longest = 20s, .jitter = false };

    EXPECT_EQ(policy.wait(1, 1s, 0), 4s);
    EXPECT_EQ(policy.wait(1, 7s, 0), 7s);
    EXPECT_EQ(policy.wait(1, Seconds(1e18), 0), 20s);
}

TEST(RetryPolicyWaitTest, NoWaitIsShorterThanAMillisecond)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();

    EXPECT_EQ((RetryPolicy { .first = Seconds(nan) }).wait(1, 0s, 0), 1ms);
    EXPECT_EQ((RetryPolicy { .first = -1s }).wait(3, 0s, 0), 1ms);
    EXPECT_EQ((RetryPolicy { .longest = Seconds(nan) }).wait(3, 9s, 0), 1ms);
    EXPECT_EQ((RetryPolicy { .tries = -3 }).retries(), 0);
    EXPECT_EQ((RetryPolicy { .tries = std::nullopt }).retries(), RetryPolicy::endless);
}

struct AskedCase {
    int status;
    const char* header;
    std::optional<double> seconds;
};

TEST(RetryAfterTest, IsReadInSecondsOrAsADate)
{
    // 784111777 is Sun, 06 Nov 1994 08:49:37 GMT, the example of RFC 9110, section 5.6.7.
    const double now = 784'111'767;
    for (const auto& [status, header, seconds] : std::vector<AskedCase> {
             { 503, "120", 120 },
             { 429, " 7 ", 7 },
             { 200, "7", std::nullopt },
             { 500, "7", std::nullopt },
             { 503, "0", std::nullopt },
             { 503, "-7", std::nullopt },
             { 503, "7.5", std::nullopt },
             { 503, "", std::nullopt },
             { 503, "soon", std::nullopt },
             { 503, "99999999999999999999999", 1e18 },
             { 503, "Sun, 06 Nov 1994 08:49:37 GMT", 10 },
             { 429, "Sun Nov  6 08:49:37 1994", 10 },
             { 429, "Sunday, 06-Nov-37 08:49:37 GMT", 1'356'998'410 },
             { 503, "Sun, 06 Nov 1994 08:49:27 GMT", std::nullopt },
             { 503, "Sun, 06 Nov 1994 08:49:37", std::nullopt },
             { 503, "Sun, 31 Feb 1995 08:49:37 GMT", std::nullopt },
             { 503, "Sun, 06 Foo 1995 08:49:37 GMT", std::nullopt },
             { 503, "Sun, 06 Nov 1995 24:49:37 GMT", std::nullopt },
             { 503, "Sun, 06 Nov 1995 08:60:37 GMT", std::nullopt },
             { 503, "Sun, 06 Nov 1995 08:49:99 GMT", std::nullopt },
             { 503, "Sun, -6 Nov 1995 08:49:37 GMT", std::nullopt },
             { 503, "Sun, 06", std::nullopt },
             { 503, ",", std::nullopt },
             { 503, "Sun", std::nullopt },
         }) {
        const HTTPAnswer answer { "{}", std::nullopt, status, { { "retry-after", header } } };
        const auto asked = detail::retryAfter(answer, now);
        EXPECT_EQ(asked ? std::optional(asked->count()) : std::nullopt, seconds)
            << status << ' ' << header;
    }
    EXPECT_EQ(detail::retryAfter({ "{}", std::nullopt, 503, {} }, now), std::nullopt);
}

class RetryPolicyTest : public SimulatedHost {
protected:
    static std::shared_ptr<TrackerConfig> patientChannel(
        RetryPolicy policy = { .first = 10s, .jitter = false })
    {
        const auto channel = addChannel("E2E", 1);
        channel->setRetryPolicy(policy);
        return channel;
    }

    static void advance(std::chrono::nanoseconds time)
    {
        simulated().advance(time);
        simulated().runUntilIdle();
    }
};

TEST_F(RetryPolicyTest, ABatchGoesByItselfWhenItIsDueAndNothingElseTriesIt)
{
    const auto channel = patientChannel();
    answerAll(failure());
    TrackerManager::start();
    append("E2E", 1);
    answerAll(success());

    append("E2E", 2, 5);
    manager().timerEventHandler(channel);
    enterBackground();
    EXPECT_EQ(requestCount(), 6u);
    advance(9'999ms);
    EXPECT_EQ(requestCount(), 6u);
    advance(1ms);

    ASSERT_EQ(requestCount(), 7u);
    EXPECT_THAT(numbersIn(6), ElementsAre(1));
    EXPECT_EQ(ledgerOf("E2E").events.delivered, 6);
    expectBalanced("E2E");
}

TEST_F(RetryPolicyTest, TriesAreCountedWithTheFirst)
{
    patientChannel({ .tries = 3, .first = 1s, .jitter = false });
    answerAll(failure());
    append("E2E", 1);
    advance(1s);
    EXPECT_EQ(requestCount(), 2u);
    advance(1'999ms);
    EXPECT_EQ(requestCount(), 2u);
    advance(1ms);
    advance(1h);

    EXPECT_EQ(requestCount(), 3u);
    EXPECT_EQ(ledgerOf("E2E").events.dropped.retriesExhausted, 1);
    EXPECT_EQ(ledgerOf("E2E").lastFailure.value().attempts, 3);
}

TEST_F(RetryPolicyTest, WithoutEndItIsTriedUntilItIsDelivered)
{
    const auto channel
        = patientChannel({ .tries = std::nullopt, .first = 1s, .longest = 60s, .jitter = false });
    answerAll(failure());
    append("E2E", 1);
    advance(24h);
    EXPECT_GT(requestCount(), 1400u);
    EXPECT_EQ(channel->retryCache().entries().at(0)->maxRetryCount, RetryPolicy::endless);
    EXPECT_THAT(manager().diagnosis(), testing::Not(HasSubstr(" of ")));
    answerAll(success());
    advance(60s);

    EXPECT_EQ(ledgerOf("E2E").events.delivered, 1);
}

TEST_F(RetryPolicyTest, AFlushTriesWhatIsNotDueAndTheWaitBeginsAnew)
{
    patientChannel();
    answerAll(failure());
    append("E2E", 1);
    advance(8s);
    TrackerManager::flush(1s);
    EXPECT_EQ(requestCount(), 2u);
    advance(19'999ms);
    EXPECT_EQ(requestCount(), 2u);
    advance(1ms);

    EXPECT_EQ(requestCount(), 3u);
}

TEST_F(RetryPolicyTest, HoldsForEntriesOfTheHostToo)
{
    const auto channel = patientChannel({ .tries = 9, .first = 10s, .jitter = false });
    answerAll(success());
    channel->insert(std::make_shared<TrackerRetryData>(makeBatch({ { "old", 1 } }), 2));
    append("E2E", 1);
    EXPECT_EQ(channel->retryCache().entries().at(0)->maxRetryCount, 8);
    EXPECT_EQ(requestCount(), 1u);

    // Taken out and put back: the first wait no longer counts.
    const TrackerRetryEntry entry = channel->popRetryData();
    advance(15s);
    channel->insert(entry);
    advance(19'999ms);
    EXPECT_EQ(requestCount(), 1u);
    advance(1ms);

    ASSERT_EQ(requestCount(), 2u);
    EXPECT_TRUE(body(1).contains("old"));
}

TEST_F(RetryPolicyTest, TheCollectorMayAskForMorePatience)
{
    patientChannel();
    answerAll(ScriptedAnswer::body("{}", 503).with({ { "Retry-After", "30" } }));
    append("E2E", 1);
    answerAll(success());
    advance(29s);
    EXPECT_EQ(requestCount(), 1u);
    advance(1s);

    EXPECT_EQ(ledgerOf("E2E").events.delivered, 1);
}

TEST_F(RetryPolicyTest, ABatchThatWaitsAlreadyGetsATimeWhenThePolicyIsSet)
{
    const auto channel = addChannel("E2E", 1);
    answerAll(failure());
    append("E2E", 1);
    answerAll(success());
    channel->setRetryPolicy(RetryPolicy { .first = 10s, .jitter = false });
    advance(9'999ms);
    EXPECT_EQ(requestCount(), 1u);
    advance(1ms);

    EXPECT_EQ(ledgerOf("E2E").events.delivered, 1);
    expectBalanced("E2E");
}

TEST_F(RetryPolicyTest, AnOutageLosesNothing)
{
    const auto channel = addChannel("E2E", 1);
    channel->setRetryPolicy(RetryPolicy { .tries = 10 });
    answerAll(failure());
    for (int event = 0; event < 300; ++event) {
        append("E2E", event);
        advance(10ms);
    }
    answerAll(success());
    advance(10s);

    EXPECT_EQ(ledgerOf("E2E").events.delivered, 300);
    expectBalanced("E2E");
}

TEST_F(RetryPolicyTest, AfterShutdownNothingGoesByItself)
{
    patientChannel();
    answerAll(failure());
    append("E2E", 1);
    TrackerManager::shutdown(1s);
    const std::size_t before = requestCount();
    advance(1h);

    EXPECT_EQ(requestCount(), before);
    EXPECT_EQ(ledgerOf("E2E").events.waiting, 1);
}

TEST_F(RetryPolicyTest, WithoutConsentNothingGoesByItself)
{
    patientChannel();
    answerAll(failure());
    append("E2E", 1);
    TrackerManager::setEnabled(false);
    advance(1h);

    EXPECT_EQ(requestCount(), 1u);
    EXPECT_EQ(ledgerOf("E2E").events.dropped.disabled, 1);
}

} // namespace
} // namespace telvora
