#include <Telvora/Platform/Curl/CurlLoop.h>

#include <Telvora/Platform/Curl/CurlLibrary.h>
#include <Telvora/Platform/Simulated/ManualClock.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// A loop that the test moves on by hand, with a clock that stands still until it is moved. The
/// server answers "/" at once and any other target once it is released; "/moved" is a redirect to
/// "/held".
class CurlLoopTest : public testing::Test {
    // Before the server, whose threads use them to the end.
    Mutex m_lock;
    std::set<std::string> m_released TELVORA_GUARDED_BY(m_lock) { "/" };

protected:
    CurlLoopTest()
    {
        CurlScope scope;
        EXPECT_TRUE(setUpLibcurl());
    }

    ~CurlLoopTest() override
    {
        for (const char* target : { "/held", "/moved" })
            release(target);
    }

    void send(const std::string& target, std::chrono::seconds timeout = 60s)
    {
        CurlJobs jobs;
        jobs.emplace_back(postTo(server.url(target), "{}", timeout), HTTPClient::Completion());
        loop.add(jobs);
    }

    /// Moves the loop on until `isDone`; ctest ends a test in which that never comes.
    void runUntil(const std::function<bool()>& isDone)
    {
        for (;;) {
            advance();
            if (isDone())
                return;
            // Not wait(): nothing wakes the loop when the server has received something.
            std::this_thread::sleep_for(1ms);
        }
    }

    void runUntilReceived(std::size_t requests)
    {
        runUntil([&] { return server.received().size() >= requests; });
    }

    void runUntilOver(std::size_t count)
    {
        runUntil([&] { return over.size() >= count; });
    }

    void advance()
    {
        CurlJobs more = loop.advance();
        over.splice(over.end(), more);
    }

    void release(const std::string& target)
    {
        MutexLock lock(m_lock);
        m_released.insert(target);
    }

    CurlHTTPOptions options;
    ManualClock clock;
    LoopbackServer server { [this](const LoopbackRequest& request) {
        while (!isReleased(request.target))
            std::this_thread::sleep_for(1ms);
        return request.target == "/moved" ? LoopbackReply::redirect(307, "/held")
                                          : LoopbackReply::answer(200, "{}");
    } };
    CurlLoop loop { options, clock };
    CurlJobs over;

private:
    bool isReleased(const std::string& target)
    {
        MutexLock lock(m_lock);
        return m_released.contains(target);
    }
};

using CurlLoopQuirk = CurlLoopTest;

TEST_F(CurlLoopTest, RequestTimesOutAfterItsTime)
{
    send("/held", 60s);
    runUntilReceived(1);

    clock.advance(60s - 1ns);
    advance();
    EXPECT_TRUE(over.empty());
    clock.advance(1ns);
    advance();

    ASSERT_EQ(over.size(), 1U);
    EXPECT_EQ(over.front().answer.error, "Timed out");
}

TEST_F(CurlLoopQuirk, WaitingForAConnectionCostsNothingOfTheTimeout)
{
    options.connectionsPerHost = 1;
    options.maximumConnectionsPerHost = 1;
    send("/held", 24h);
    send("/", 60s);
    runUntilReceived(1);

    clock.advance(23h);
    advance();
    ASSERT_TRUE(over.empty());
    release("/held");
    runUntilOver(2);

    EXPECT_EQ(over.back().answer.data, "{}");
}

TEST_F(CurlLoopTest, TimeoutBeginsWhenARequestThatHasWaitedGoes)
{
    options.connectionsPerHost = 1;
    options.maximumConnectionsPerHost = 1;
    send("/", 60s);
    send("/held", 60s);
    clock.advance(1h);
    runUntilReceived(2);

    clock.advance(60s);
    advance();

    ASSERT_EQ(over.size(), 2U);
    EXPECT_EQ(over.front().answer.data, "{}");
    EXPECT_EQ(over.back().answer.error, "Timed out");
}

TEST_F(CurlLoopTest, TimeoutGoesOnAfterARedirect)
{
    send("/moved", 60s);
    runUntilReceived(1);
    clock.advance(40s);
    release("/moved");
    runUntilReceived(2);

    clock.advance(20s - 1ns);
    advance();
    EXPECT_TRUE(over.empty());
    clock.advance(1ns);
    advance();

    ASSERT_EQ(over.size(), 1U);
    EXPECT_EQ(over.front().answer.error, "Timed out");
}

TEST_F(CurlLoopTest, RequestThatHasWaited100msGoesBesideSixOthers)
{
    for (int number = 0; number < 7; ++number)
        send("/held");
    runUntilReceived(6);

    clock.advance(100ms);
    runUntilReceived(7);

    EXPECT_EQ(server.connections(), 7U);
}

TEST_F(CurlLoopTest, AnswerThatHasArrivedCountsHoweverLateTheLoopLooks)
{
    send("/held", 60s);
    runUntilReceived(1);
    // From here on libcurl waits for the answer alone.
    advance();
    release("/held");
    // Returns when the answer has arrived, and does not read it.
    loop.wait();

    clock.advance(1h);
    runUntilOver(1);

    EXPECT_EQ(over.front().answer.data, "{}");
}

TEST_F(CurlLoopTest, ExcludedTimeIsChargedToNoRequest)
{
    send("/held", 60s);
    runUntilReceived(1);

    clock.advance(1h);
    loop.excludeFromTimeouts(1h);
    advance();
    ASSERT_TRUE(over.empty());
    clock.advance(60s);
    advance();

    ASSERT_EQ(over.size(), 1U);
    EXPECT_EQ(over.front().answer.error, "Timed out");
}

TEST_F(CurlLoopTest, AbandonedJobsAreOverWhetherUnderWayOrWaiting)
{
    for (int number = 0; number < 10; ++number)
        send("/held");
    runUntilReceived(6);

    const CurlJobs abandoned = loop.abandon("Client destroyed");

    EXPECT_EQ(abandoned.size(), 10U);
    for (const CurlJob& job : abandoned)
        EXPECT_EQ(job.answer.error, "Client destroyed");
}

} // namespace
} // namespace telvora::detail
