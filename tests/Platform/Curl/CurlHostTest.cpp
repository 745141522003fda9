#include <Telvora/Platform/Curl/CurlHost.h>

#include <gtest/gtest.h>

#include <deque>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

/// A host, and the connections that its requests are on. What is taken from the host is on a
/// connection of its own unless the test says otherwise.
class CurlHostTest : public testing::Test {
protected:
    CurlConnection& connect(std::size_t requests, bool isHTTP2 = false)
    {
        CurlConnection& connection = connections.emplace_back(-1);
        connection.isHTTP2 = isHTTP2;
        connection.requests = requests;
        return connection;
    }

    void queue(std::size_t count)
    {
        for (std::size_t number = 0; number < count; ++number) {
            CurlJobs job;
            job.emplace_back(HTTPRequest(), HTTPClient::Completion());
            host.queue(job, now);
        }
    }

    void count(std::size_t connecting = 0, bool areNew = false)
    {
        host.beginCount();
        for (std::size_t number = 0; number < connecting; ++number)
            host.countConnecting(areNew);
        for (CurlConnection& connection : connections) {
            if (connection.requests > 0)
                host.count(connection);
        }
    }

    /// How many go now.
    std::size_t take()
    {
        std::size_t taken = 0;
        while (!host.takeNext(now).empty())
            ++taken;
        return taken;
    }

    CurlHTTPOptions options;
    CurlHost host { options };
    std::deque<CurlConnection> connections;
    CurlHost::Time now {};
};

TEST_F(CurlHostTest, SixRequestsGoAtOnce)
{
    queue(7);
    count();

    EXPECT_EQ(take(), 6U);
    EXPECT_EQ(take(), 0U);
}

TEST_F(CurlHostTest, RequestGoesWhenAConnectionIsFree)
{
    for (int number = 0; number < 5; ++number)
        connect(1);
    queue(2);
    count();

    EXPECT_EQ(take(), 1U);
}

TEST_F(CurlHostTest, RequestThatIsStillConnectingHasAConnection)
{
    queue(7);
    count(4);

    EXPECT_EQ(take(), 2U);
}

TEST_F(CurlHostTest, NumberOfConnectionsIsAnOption)
{
    options.connectionsPerHost = 2;
    queue(7);
    count();

    EXPECT_EQ(take(), 2U);
}

TEST_F(CurlHostTest, HostWithoutAConnectionInTheOptionsStillGetsOne)
{
    options.connectionsPerHost = 0;
    options.maximumConnectionsPerHost = 0;
    queue(2);
    count();

    EXPECT_EQ(take(), 1U);
}

TEST_F(CurlHostTest, RequestThatHasWaited100msGetsAConnectionOfItsOwn)
{
    queue(1);
    now += 1ms;
    queue(2);
    count(6);

    now += 98ms;
    EXPECT_EQ(take(), 0U);
    now += 1ms;
    EXPECT_EQ(take(), 1U);
    now += 1ms;
    EXPECT_EQ(take(), 2U);
}

TEST_F(CurlHostTest, MoreThan64ConnectionsAreNotOpened)
{
    queue(100);
    now += 1h;
    count();

    EXPECT_EQ(take(), 64U);
    EXPECT_EQ(host.nextChange(now), CurlHost::Time::max());
}

TEST_F(CurlHostTest, MaximumIsNotBelowTheNormalNumberOfConnections)
{
    options.connectionsPerHost = 100;
    queue(200);
    now += 1h;
    count(99);

    EXPECT_EQ(take(), 1U);
}

TEST_F(CurlHostTest, NextChangeIsWhenTheOldestHasWaitedLongEnough)
{
    EXPECT_EQ(host.nextChange(now), CurlHost::Time::max());
    queue(1);
    now += 50ms;
    queue(1);
    count(6);

    EXPECT_EQ(host.nextChange(now), CurlHost::Time() + 100ms);
}

TEST_F(CurlHostTest, RequestsGoInTheOrderInWhichTheyCame)
{
    for (const char* method : { "A", "B", "C" }) {
        CurlJobs job;
        job.emplace_back(HTTPRequest { {}, method, {}, {} }, HTTPClient::Completion());
        host.queue(job, now);
    }
    count();

    for (const char* method : { "A", "B", "C" })
        EXPECT_EQ(host.takeNext(now).front().request.method, method);
}

TEST_F(CurlHostTest, ConnectionOfHTTP1TakesOneRequest)
{
    for (int number = 0; number < 6; ++number)
        connect(1);
    queue(10);
    count();

    EXPECT_EQ(take(), 0U);
}

TEST_F(CurlHostTest, ConnectionOfHTTP2IsGivenAtMostTwiceWhatItHasCarried)
{
    CurlConnection& connection = connect(10, true);
    queue(1000);
    // So that no other is opened beside it.
    count(5);

    EXPECT_EQ(take(), 10U);
    connection.requests = 15;
    count(5);
    EXPECT_EQ(take(), 15U);
}

TEST_F(CurlHostTest, ConnectionOfHTTP2TakesUpTo100Requests)
{
    connect(99, true);
    queue(1000);
    count(5);

    EXPECT_EQ(take(), 1U);
}

TEST_F(CurlHostTest, ConnectionOfHTTP2KeepsTheRoomThatItHasShown)
{
    CurlConnection& connection = connect(80, true);
    count(5);
    connection.requests = 1;
    queue(1000);
    count(5);

    EXPECT_EQ(take(), 99U);
}

TEST_F(CurlHostTest, ServerThatTakesFewerOnAConnectionIsFoundOut)
{
    CurlConnection& connection = connect(10, true);
    queue(1000);
    count(5);
    ASSERT_EQ(take(), 10U);

    // The ten got a connection of their own, although this one seemed to have room.
    count(10, true);
    connection.requests = 4;
    count(5);

    EXPECT_EQ(take(), 6U);
}

TEST_F(CurlHostTest, ConnectionsOfHTTP2AreOpenedOneAtATime)
{
    connect(100, true);
    queue(1000);
    now += 1h;

    count();
    EXPECT_EQ(take(), 1U);
    count(1);
    EXPECT_EQ(take(), 0U);
    EXPECT_EQ(host.nextChange(now), CurlHost::Time::max());
}

TEST_F(CurlHostTest, RefusedRequestGoesBeforeAllOthers)
{
    queue(2);
    count();
    CurlJobs refused = host.takeNext(now);
    refused.front().request.method = "AGAIN";
    host.noteAnswer();

    host.queueAgain(refused, now);

    EXPECT_EQ(host.takeNext(now).front().request.method, "AGAIN");
}

TEST_F(CurlHostTest, RefusalsWithoutAnyAnswerMakeForLongerAndLongerPauses)
{
    queue(1);
    for (const auto pause : { 10ms, 20ms, 40ms, 80ms, 160ms, 320ms, 640ms, 1000ms, 1000ms }) {
        count();
        CurlJobs refused = host.takeNext(now);
        ASSERT_EQ(refused.size(), 1U);
        host.queueAgain(refused, now);

        EXPECT_EQ(host.nextChange(now), now + pause);
        now += pause - 1ms;
        EXPECT_TRUE(host.takeNext(now).empty());
        now += 1ms;
    }
}

TEST_F(CurlHostTest, RequestsThatAreRefusedTogetherMakeForOnePause)
{
    queue(3);
    count();
    std::deque<CurlJobs> refused;
    while (refused.size() < 3)
        refused.push_back(host.takeNext(now));

    for (CurlJobs& job : refused)
        host.queueAgain(job, now);

    EXPECT_EQ(host.nextChange(now), now + 10ms);
}

TEST_F(CurlHostTest, AnswerEndsThePause)
{
    queue(2);
    count();
    CurlJobs refused = host.takeNext(now);
    host.queueAgain(refused, now);
    ASSERT_EQ(take(), 0U);

    host.noteAnswer();

    EXPECT_EQ(take(), 2U);
}

TEST_F(CurlHostTest, ConnectionThatItsServerClosesTakesNothingMore)
{
    connect(50, true).lastStream = 99;
    queue(100);
    count(5);

    EXPECT_EQ(take(), 0U);
}

TEST_F(CurlHostTest, HostIsIdleOnceNothingWaitsOrIsUnderWay)
{
    EXPECT_TRUE(host.isIdle());
    queue(1);
    EXPECT_FALSE(host.isIdle());
    EXPECT_EQ(host.takeAll().size(), 1U);
    EXPECT_TRUE(host.isIdle());
    count(1);
    EXPECT_FALSE(host.isIdle());
}

} // namespace
} // namespace telvora::detail
