#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <tests/Platform/Curl/HTTP2Server.h>
#include <tests/Platform/Curl/HTTPTesting.h>

#include <gtest/gtest.h>

#include <atomic>

namespace telvora::detail {
namespace {

using Manner = HTTP2Server::Manner;

/// A client and a server of HTTP/2 that refuses some of its requests.
class CurlHTTPClientRefusalTest : public testing::Test {
protected:
    void serve(Manner manner, std::size_t first, std::size_t last)
    {
        server.emplace(manner, first, last);
        CurlHTTPOptions options;
        options.authorityFile = server->authorityFile();
        client.emplace(options);
    }

    HTTPAnswer answer(std::chrono::seconds timeout = std::chrono::seconds(60))
    {
        return answerTo(*client, postTo(server->url(), "{}", timeout));
    }

    std::optional<HTTP2Server> server;
    std::optional<RealHTTPClient> client;
};

using CurlHTTPClientRefusalQuirk = CurlHTTPClientRefusalTest;

TEST_F(CurlHTTPClientRefusalTest, RefusedStreamIsSentAgain)
{
    serve(Manner::refuse, 1, 1);

    EXPECT_EQ(answer().data, "{}");
    EXPECT_EQ(server->requests(), 2U);
}

TEST_F(CurlHTTPClientRefusalTest, RefusedStreamOfAConnectionThatWasUsedIsSentAgain)
{
    serve(Manner::refuse, 2, 2);

    EXPECT_EQ(answer().data, "{}");
    EXPECT_EQ(answer().data, "{}");
    EXPECT_EQ(server->requests(), 3U);
    EXPECT_EQ(server->connections(), 2U);
}

TEST_F(CurlHTTPClientRefusalTest, RequestThatGOAWAYLeavesOutIsSentAgain)
{
    serve(Manner::goAwayBefore, 1, 2);

    EXPECT_EQ(answer().data, "{}");
    EXPECT_EQ(answer().data, "{}");
    EXPECT_EQ(server->requests(), 4U);
}

TEST_F(CurlHTTPClientRefusalTest, RequestThatGOAWAYIncludesIsAnErrorAndNotSentAgain)
{
    serve(Manner::goAwayAfter, 1, 2);

    EXPECT_TRUE(answer().error);
    EXPECT_TRUE(answer().error);
    EXPECT_EQ(server->requests(), 2U);
}

TEST_F(CurlHTTPClientRefusalTest, RequestThatFailsWithinTheServerIsAnErrorAndNotSentAgain)
{
    serve(Manner::reset, 1, 2);

    EXPECT_TRUE(answer().error);
    EXPECT_TRUE(answer().error);
    EXPECT_EQ(server->requests(), 2U);
}

TEST_F(CurlHTTPClientRefusalTest, RequestWhoseConnectionClosesIsAnErrorAndNotSentAgain)
{
    serve(Manner::close, 2, 3);

    EXPECT_EQ(answer().data, "{}");
    EXPECT_TRUE(answer().error);
    EXPECT_TRUE(answer().error);
    EXPECT_EQ(server->requests(), 3U);
}

TEST_F(CurlHTTPClientRefusalQuirk, ServerThatRefusesForEverIsAskedLessAndLessAndThenGivenUp)
{
    serve(Manner::refuse, 1, 1'000'000);

    const HTTPAnswer refused = answer(std::chrono::seconds(5));

    EXPECT_EQ(refused.error, "Refused by the server");
    // With pauses of 10, 20, 40 ms and so on, up to a second: 12 in 5 seconds. On a busy machine
    // fewer.
    EXPECT_GE(server->requests(), 2U);
    EXPECT_LE(server->requests(), 12U);
}

TEST_F(CurlHTTPClientRefusalTest, ManyRequestsAtOnceAreAllAnsweredDespiteRefusals)
{
    serve(Manner::refuse, 50, 150);
    std::atomic<int> answers { 0 };

    for (int number = 0; number < 300; ++number)
        client->send(
            postTo(server->url()), [&](HTTPAnswer answer) { answers += answer.data == "{}"; });

    EXPECT_TRUE(settle(*client));
    EXPECT_EQ(answers, 300);
    EXPECT_EQ(server->requests(), 401U);
}

} // namespace
} // namespace telvora::detail
