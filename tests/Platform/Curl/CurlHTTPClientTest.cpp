#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// A port whose queue of newcomers is full, so that connecting neither succeeds nor fails.
class FullListener {
public:
    FullListener()
    {
        socklen_t size = sizeof(m_address);
        m_address.sin_family = AF_INET;
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_sockets.push_back(socket(AF_INET, SOCK_STREAM, 0));
        EXPECT_EQ(bind(m_sockets.front(), address(), size), 0);
        EXPECT_EQ(listen(m_sockets.front(), 0), 0);
        EXPECT_EQ(getsockname(m_sockets.front(), address(), &size), 0);
        for (int number = 0; number < 8; ++number) {
            m_sockets.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
            static_cast<void>(connect(m_sockets.back(), address(), size));
        }
    }

    ~FullListener()
    {
        for (int socket : m_sockets)
            close(socket);
    }

    std::string url() const
    {
        return "http://127.0.0.1:" + std::to_string(ntohs(m_address.sin_port));
    }

private:
    sockaddr* address() { return reinterpret_cast<sockaddr*>(&m_address); }

    sockaddr_in m_address {};
    std::vector<int> m_sockets;
};

TEST(CurlHTTPClientTest, LateAnswerIsWaitedFor)
{
    HTTPAnswer answer = answerFor(LoopbackReply::answer(200, "late").after(300ms));

    EXPECT_EQ(answer.data, "late");
}

TEST(CurlHTTPClientTest, DrippingAnswerIsPutTogether)
{
    std::vector<LoopbackReply::Piece> drops
        = { { "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n" } };
    for (char letter : std::string("drip-drop!"))
        drops.push_back({ std::string(1, letter), 20ms });

    HTTPAnswer answer = answerFor(raw(drops));

    EXPECT_EQ(answer.data, "drip-drop!");
}

TEST(CurlHTTPClientTest, AnswerWithoutALengthEndsWithTheConnection)
{
    HTTPAnswer answer = answerFor(raw({ { "HTTP/1.1 200 OK\r\n\r\nwhole" } }));

    EXPECT_EQ(answer.data, "whole");
}

TEST(CurlHTTPClientTest, ChunkedAnswerIsPutTogether)
{
    HTTPAnswer answer = answerFor(raw({ { "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                          "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n" } }));

    EXPECT_EQ(answer.data, "abcde");
}

TEST(CurlHTTPClientTest, AnswerBeforeTheWholeBodyWasReadCounts)
{
    LoopbackServer server(always(LoopbackReply::answer(413, "too long").thenClose()));
    RealHTTPClient client;

    HTTPAnswer answer = answerTo(client, postTo(server.url(), std::string(3'000'000, 'x')));

    EXPECT_EQ(answer.data, "too long");
    EXPECT_EQ(answer.status, 413);
}

TEST(CurlHTTPClientTest, ConnectionClosedBeforeTheAnswerIsAnError)
{
    EXPECT_TRUE(answerFor(LoopbackReply::close()).error);
}

TEST(CurlHTTPClientTest, ConnectionResetBeforeTheAnswerIsAnError)
{
    EXPECT_TRUE(answerFor({ {}, LoopbackReply::Ending::Reset }).error);
}

TEST(CurlHTTPClientTest, ConnectionClosedWithinTheHeadersIsAnError)
{
    EXPECT_TRUE(answerFor(raw({ { "HTTP/1.1 200 OK\r\nContent-Le" } })).error);
}

TEST(CurlHTTPClientTest, ConnectionClosedAfterAnInterimAnswerIsAnError)
{
    EXPECT_TRUE(answerFor(raw({ { "HTTP/1.1 100 Continue\r\n\r\n" } })).error);
    EXPECT_TRUE(answerFor(raw({ { "HTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\n" } })).error);
}

TEST(CurlHTTPClientTest, InterimAnswerIsNotTheAnswer)
{
    HTTPAnswer answer = answerFor(raw({ { "HTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\n" },
        { "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}", 50ms } }));

    EXPECT_EQ(answer.data, "{}");
    EXPECT_EQ(answer.status, 200);
}

TEST(CurlHTTPClientTest, TrailersDoNotMakeAnAnswerBroken)
{
    HTTPAnswer answer = answerFor(raw({ { "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                          "2\r\n{}\r\n0\r\nX-After: 1\r\n\r\n" } }));

    EXPECT_EQ(answer.data, "{}");
}

TEST(CurlHTTPClientTest, TruncatedAnswerIsAnErrorWithoutData)
{
    HTTPAnswer answer = answerFor(
        raw({ { "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"success\":true}" } }));

    EXPECT_TRUE(answer.error);
    EXPECT_FALSE(answer.data);
}

TEST(CurlHTTPClientTest, TruncatedChunkIsAnError)
{
    EXPECT_TRUE(answerFor(raw({ { "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                  "9\r\nabc" } }))
                    .error);
}

TEST(CurlHTTPClientTest, AnswerThatIsNoHTTPIsAnError)
{
    EXPECT_TRUE(answerFor(raw({ { "{\"success\":true}\r\n\r\n" } })).error);
}

TEST(CurlHTTPClientTest, MissingAnswerTimesOut)
{
    LoopbackServer server(always(LoopbackReply::silence()));
    RealHTTPClient client;

    HTTPAnswer answer = answerTo(client, postTo(server.url(), "{}", 1s));

    EXPECT_THAT(answer.error.value_or(""), HasSubstr("Timed out"));
}

TEST(CurlHTTPClientTest, TimeoutCoversTheWholeAnswer)
{
    std::vector<LoopbackReply::Piece> drops
        = { { "HTTP/1.1 200 OK\r\nContent-Length: 999\r\n\r\n" } };
    for (int number = 0; number < 999; ++number)
        drops.push_back({ "x", 100ms });
    LoopbackServer server(always(raw(drops)));
    RealHTTPClient client;

    HTTPAnswer answer = answerTo(client, postTo(server.url(), "{}", 1s));

    EXPECT_THAT(answer.error.value_or(""), HasSubstr("Timed out"));
}

TEST(CurlHTTPClientTest, TimeoutCoversConnecting)
{
    FullListener full;
    RealHTTPClient client;

    HTTPAnswer answer = answerTo(client, postTo(full.url(), "{}", 1s));

    EXPECT_THAT(answer.error.value_or(""), HasSubstr("Timed out"));
}

TEST(CurlHTTPClientTest, ClosedPortIsAnError)
{
    std::string url;
    {
        LoopbackServer gone(always(LoopbackReply::silence()));
        url = gone.url();
    }
    RealHTTPClient client;

    EXPECT_TRUE(answerTo(client, postTo(url)).error);
}

TEST(CurlHTTPClientTest, UnknownHostIsAnError)
{
    RealHTTPClient client;

    HTTPAnswer answer = answerTo(client, postTo("http://nobody.invalid/", "{}", 10s));

    EXPECT_TRUE(answer.error);
}

TEST(CurlHTTPClientTest, AnExceptionOfACompletionIsDropped)
{
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    RealHTTPClient client;

    client.send(postTo(server.url()), [](HTTPAnswer) { throw std::runtime_error("mine"); });
    client.send(postTo(server.url()), [](HTTPAnswer) { throw 7; });

    EXPECT_TRUE(settle(client));
    EXPECT_EQ(answerTo(client, postTo(server.url())).data, "{}");
}

TEST(CurlHTTPClientTest, DestructionCompletesWhatIsUnderWayWithAnError)
{
    LoopbackServer server(always(LoopbackReply::silence()));
    int errors = 0;
    {
        RealHTTPClient client;
        for (int number = 0; number < 20; ++number)
            client.send(postTo(server.url()), [&](HTTPAnswer answer) { errors += !!answer.error; });
        ASSERT_TRUE(server.waitForRequests(6));
    }

    EXPECT_EQ(errors, 20);
}

TEST(CurlHTTPClientTest, DestructionRightAfterSendingCompletesToo)
{
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    int completions = 0;

    for (int round = 0; round < 50; ++round) {
        RealHTTPClient client;
        for (int number = 0; number < 3; ++number)
            client.send(postTo(server.url()), [&](HTTPAnswer) { ++completions; });
    }

    EXPECT_EQ(completions, 150);
}

TEST(CurlHTTPClientTest, UnusedClientHasNoThread)
{
    RealHTTPClient client;

    EXPECT_THAT(statusOfThreads("telvora-http", "Pid"), testing::IsEmpty());
    EXPECT_EQ(client.inFlight(), 0U);
}

} // namespace
} // namespace telvora::detail
