#include <Telvora/Platform/Curl/CurlServer.h>

#include <gtest/gtest.h>

#include <deque>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

/// A server, and the connections that its requests are on. What is taken from the server is on a
/// connection of its own unless the test says otherwise.
class CurlServerTest : public testing::Test {
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
            server.queue(job, now);
        }
    }

    void count(std::size_t connecting = 0, bool areNew = false)
    {
        server.beginCount();
        for (std::size_t number = 0; number < connecting; ++number)
            server.countConnecting(areNew);
        for (CurlConnection& connection : connections) {
            if (connection.requests > 0)
                server.count(connection);
        }
    }

    /// How many go now.
    std::size_t take()
    {
        std::size_t taken = 0;
        while (!server.takeNext(now).empty())
            ++taken;
        return taken;
    }

    CurlHTTPOptions options;
    CurlServer server { options };
    std::deque<CurlConnection> connections;
    CurlServer::Time now {};
};

TEST_F(CurlServerTest, SixRequestsGoAtOnce)
{
    queue(7);
    count();

    EXPECT_EQ(take(), 6U);
    EXPECT_EQ(take(), 0U);
}

TEST_F(CurlServerTest, RequestGoesWhenAConnectionIsFree)
{
    for (int number = 0; number < 5; ++number)
        connect(1);
    queue(2);
    count();

    EXPECT_EQ(take(), 1U);
}

TEST_F(CurlServerTest, RequestThatIsStillConnectingHasAConnection)
{
    queue(7);
    count(4);

    EXPECT_EQ(take(), 2U);
}

TEST_F(CurlServerTest, NumberOfConnectionsIsAnOption)
{
    options.connectionsPerHost = 2;
    queue(7);
    count();

    EXPECT_EQ(take(), 2U);
}

TEST_F(CurlServerTest, ServerWithoutAConnectionInTheOptionsStillGetsOne)
{
    options.connectionsPerHost = 0;
    options.maximumConnectionsPerHost = 0;
    queue(2);
    count();

    EXPECT_EQ(take(), 1U);
}

TEST_F(CurlServerTest, RequestThatHasWaited100msGetsAConnectionOfItsOwn)
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

TEST_F(CurlServerTest, MoreThan64ConnectionsAreNotOpened)
{
    queue(100);
    now += 1h;
    count();

    EXPECT_EQ(take(), 64U);
    EXPECT_EQ(server.nextChange(now), CurlServer::Time::max());
}

TEST_F(CurlServerTest, MaximumIsNotBelowTheNormalNumberOfConnections)
{
    options.connectionsPerHost = 100;
    queue(200);
    now += 1h;
    count(99);

    EXPECT_EQ(take(), 1U);
}

TEST_F(CurlServerTest, NextChangeIsWhenTheOldestHasWaitedLongEnough)
{
    EXPECT_EQ(server.nextChange(now), CurlServer::Time::max());
    queue(1);
    now += 50ms;
    queue(1);
    count(6);

    EXPECT_EQ(server.nextChange(now), CurlServer::Time() + 100ms);
}

TEST_F(CurlServerTest, RequestsGoInTheOrderInWhichTheyCame)
{
    for (const char* method : { "A", "B", "C" }) {
        CurlJobs job;
        job.emplace_back(HTTPRequest { {}, method, {}, {} }, HTTPClient::Completion());
        server.queue(job, now);
    }
    count();

    for (const char* method : { "A", "B", "C" })
        EXPECT_EQ(server.takeNext(now).front().request.method, method);
}

TEST_F(CurlServerTest, ConnectionOfHTTP1TakesOneRequest)
{
    for (int number = 0; number < 6; ++number)
        connect(1);
    queue(10);
    count();

    EXPECT_EQ(take(), 0U);
}

TEST_F(CurlServerTest, ConnectionOfHTTP2IsGivenAtMostTwiceWhatItHasCarried)
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

TEST_F(CurlServerTest, ConnectionOfHTTP2TakesUpTo100Requests)
{
    connect(99, true);
    queue(1000);
    count(5);

    EXPECT_EQ(take(), 1U);
}

TEST_F(CurlServerTest, ConnectionOfHTTP2KeepsTheRoomThatItHasShown)
{
    CurlConnection& connection = connect(80, true);
    count(5);
    connection.requests = 1;
    queue(1000);
    count(5);

    EXPECT_EQ(take(), 99U);
}

TEST_F(CurlServerTest, ServerThatTakesFewerOnAConnectionIsFoundOut)
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

TEST_F(CurlServerTest, ConnectionsOfHTTP2AreOpenedOneAtATime)
{
    connect(100, true);
    queue(1000);
    now += 1h;

    count();
    EXPECT_EQ(take(), 1U);
    count(1);
    EXPECT_EQ(take(), 0U);
    EXPECT_EQ(server.nextChange(now), CurlServer::Time::max());
}

TEST_F(CurlServerTest, RefusedRequestGoesBeforeAllOthers)
{
    queue(2);
    count();
    CurlJobs refused = server.takeNext(now);
    refused.front().request.method = "AGAIN";
    server.noteAnswer(false);

    server.queueAgain(refused, now);

    EXPECT_EQ(server.takeNext(now).front().request.method, "AGAIN");
}

TEST_F(CurlServerTest, RefusalsWithoutAnyAnswerMakeForLongerAndLongerPauses)
{
    queue(1);
    for (const auto pause : { 10ms, 20ms, 40ms, 80ms, 160ms, 320ms, 640ms, 1000ms, 1000ms }) {
        count();
        CurlJobs refused = server.takeNext(now);
        ASSERT_EQ(refused.size(), 1U);
        server.queueAgain(refused, now);

        EXPECT_EQ(server.nextChange(now), now + pause);
        now += pause - 1ms;
        EXPECT_TRUE(server.takeNext(now).empty());
        now += 1ms;
    }
}

TEST_F(CurlServerTest, RequestsThatAreRefusedTogetherMakeForOnePause)
{
    queue(3);
    count();
    std::deque<CurlJobs> refused;
    while (refused.size() < 3)
        refused.push_back(server.takeNext(now));

    for (CurlJobs& job : refused)
        server.queueAgain(job, now);

    EXPECT_EQ(server.nextChange(now), now + 10ms);
}

TEST_F(CurlServerTest, RequestsThatAClosingConnectionLeavesOutShareOneNewConnection)
{
    connect(50, true);
    queue(50);
    count();
    std::deque<CurlJobs> leftOut;
    for (CurlJobs job = server.takeNext(now); !job.empty(); job = server.takeNext(now))
        leftOut.push_back(std::move(job));
    ASSERT_EQ(leftOut.size(), 50U);
    server.noteAnswer(true);
    now += 150ms;

    connections.clear();
    for (CurlJobs& job : leftOut)
        server.queueAgain(job, now);
    count();

    EXPECT_EQ(take(), 1U);
}

TEST_F(CurlServerTest, FailureAfterAnswersOverHTTP2LetsConnectionsBeOpenedSideBySide)
{
    server.noteAnswer(true);
    queue(8);
    count();
    ASSERT_EQ(take(), 1U);

    server.noteFailure();
    count();

    EXPECT_EQ(take(), 6U);
}

TEST_F(CurlServerTest, AnswerEndsThePause)
{
    queue(2);
    count();
    CurlJobs refused = server.takeNext(now);
    server.queueAgain(refused, now);
    ASSERT_EQ(take(), 0U);

    server.noteAnswer(false);

    EXPECT_EQ(take(), 2U);
}

TEST_F(CurlServerTest, ConnectionThatItsServerClosesTakesNothingMore)
{
    connect(50, true).lastStream = 99;
    queue(100);
    count(5);

    EXPECT_EQ(take(), 0U);
}

TEST_F(CurlServerTest, ServerIsIdleOnceNothingWaitsOrIsUnderWay)
{
    EXPECT_TRUE(server.isIdle());
    queue(1);
    EXPECT_FALSE(server.isIdle());
    EXPECT_EQ(server.takeAll().size(), 1U);
    EXPECT_TRUE(server.isIdle());
    count(1);
    EXPECT_FALSE(server.isIdle());
}

} // namespace
} // namespace telvora::detail
