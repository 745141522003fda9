#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <Telvora/Base/Version.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace telvora::detail {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class CurlHTTPClientRequestTest : public testing::Test {
protected:
    /// What arrives of the request, which must be one.
    LoopbackRequest arrivalOf(HTTPRequest request)
    {
        HTTPAnswer answer = answerTo(client, std::move(request));
        EXPECT_EQ(answer.error, std::nullopt);
        if (server.received().size() != 1)
            return {};
        return server.received().front();
    }

    HTTPRequest request(std::string method, std::string body)
    {
        return { server.url(), std::move(method), {}, std::move(body) };
    }

    LoopbackServer server { [](const LoopbackRequest&) { return LoopbackReply::answer(200, ""); } };
    RealHTTPClient client;
};

using CurlHTTPClientRequestQuirk = CurlHTTPClientRequestTest;

TEST_F(CurlHTTPClientRequestTest, HeadersAreThoseOfTheClientThenTheGivenThenTheLength)
{
    HTTPRequest given = request("POST", "12345");
    given.headers = { { "zeta", "1" }, { "empty", "" }, { "Alpha", "two words" },
        { "Content-Type", "application/json" } };

    EXPECT_THAT(arrivalOf(given).headers,
        ElementsAre(Pair("Host", "127.0.0.1:" + server.port()),
            Pair("User-Agent", "Telvora/" TELVORA_VERSION_TEXT), Pair("Accept", "*/*"),
            Pair("zeta", "1"), Pair("empty", ""), Pair("Alpha", "two words"),
            Pair("Content-Type", "application/json"), Pair("Content-Length", "5")));
}

TEST_F(CurlHTTPClientRequestTest, ClientAddsFourHeaders)
{
    EXPECT_THAT(arrivalOf(request("POST", std::string(2'000'000, 'x'))).headerNames(),
        ElementsAre("Host", "User-Agent", "Accept", "Content-Length"));
}

TEST_F(CurlHTTPClientRequestTest, BlankValueIsSentEmpty)
{
    HTTPRequest given = request("POST", "");
    given.headers = { { "a", " " }, { "b", "\t \v" } };

    LoopbackRequest arrival = arrivalOf(given);

    EXPECT_THAT(arrival.headerNames(), testing::IsSupersetOf({ "a", "b" }));
}

TEST_F(CurlHTTPClientRequestTest, GivenValueReplacesTheClientsOwn)
{
    HTTPRequest given = request("POST", "{}");
    given.headers = { { "user-agent", "Mine/1" }, { "Accept", "application/json" } };

    EXPECT_THAT(arrivalOf(given).headers,
        ElementsAre(Pair("Host", testing::_), Pair("user-agent", "Mine/1"),
            Pair("Accept", "application/json"), Pair("Content-Length", "2")));
}

TEST_F(CurlHTTPClientRequestQuirk, LengthAndEncodingOfTheBodyAreTheClientsOwn)
{
    HTTPRequest given = request("POST", "{}");
    given.headers = { { "content-length", "999" }, { "Transfer-Encoding", "chunked" } };

    LoopbackRequest arrival = arrivalOf(given);

    EXPECT_EQ(arrival.header("Content-Length"), "2");
    EXPECT_EQ(arrival.header("Transfer-Encoding"), "");
    EXPECT_EQ(arrival.body, "{}");
}

TEST_F(CurlHTTPClientRequestTest, EmptyBodyOfAPostHasLengthZero)
{
    EXPECT_EQ(arrivalOf(request("POST", "")).header("Content-Length"), "0");
}

TEST_F(CurlHTTPClientRequestTest, LongBodyArrivesWhole)
{
    std::string body(20'000'000, '\0');
    for (std::size_t index = 0; index < body.size(); ++index)
        body[index] = static_cast<char>(index * 31 % 251);

    EXPECT_TRUE(arrivalOf(request("POST", body)).body == body);
}

TEST_F(CurlHTTPClientRequestTest, MethodWithoutABodySendsNone)
{
    LoopbackRequest arrival = arrivalOf(request("GET", ""));

    EXPECT_EQ(arrival.method, "GET");
    EXPECT_EQ(arrival.header("Content-Length"), "");
}

TEST_F(CurlHTTPClientRequestTest, MethodIsFreeWithAndWithoutABody)
{
    for (const char* method : { "DELETE", "PURGE", "GET", "PUT", "HEAD" }) {
        answerTo(client, request(method, ""));
        answerTo(client, request(method, "body"));

        std::vector<LoopbackRequest> received = server.received();
        ASSERT_GE(received.size(), 2U);
        EXPECT_EQ(received[received.size() - 2].method, method);
        EXPECT_EQ(received[received.size() - 2].body, "");
        EXPECT_EQ(received[received.size() - 1].method, method);
        EXPECT_EQ(received[received.size() - 1].body, "body");
    }
}

TEST_F(CurlHTTPClientRequestTest, HandlesForgetTheRequestBefore)
{
    HTTPRequest first = request("PUT", "body");
    first.headers = { { "X-First", "1" } };

    answerTo(client, first);
    answerTo(client, request("HEAD", ""));
    answerTo(client, request("POST", "{}"));

    std::vector<LoopbackRequest> received = server.received();
    ASSERT_EQ(received.size(), 3U);
    EXPECT_EQ(received[1].method, "HEAD");
    EXPECT_EQ(received[2].method, "POST");
    EXPECT_EQ(received[2].body, "{}");
    EXPECT_THAT(
        received[2].headerNames(), ElementsAre("Host", "User-Agent", "Accept", "Content-Length"));
}

TEST_F(CurlHTTPClientRequestTest, BadMethodIsAnErrorAndNothingGoesOut)
{
    for (std::string method : { std::string(), std::string("PO ST"), std::string("POST\r\nX: y"),
             std::string("POST\0", 5) })
        EXPECT_TRUE(answerTo(client, request(method, "{}")).error);

    EXPECT_THAT(server.received(), IsEmpty());
}

TEST_F(CurlHTTPClientRequestTest, HeaderNameThatIsNoneIsAnErrorAndNothingGoesOut)
{
    for (const char* name : { "", "a b", "a:b", "a;", "a " }) {
        HTTPRequest given = request("POST", "{}");
        given.headers = { { name, "" } };
        EXPECT_TRUE(answerTo(client, given).error) << name;
    }

    EXPECT_THAT(server.received(), IsEmpty());
}

TEST_F(CurlHTTPClientRequestTest, FragmentIsNotSent)
{
    HTTPRequest given = request("POST", "{}");
    given.url = server.url("/a?b=%20c&d#e");

    EXPECT_EQ(arrivalOf(given).target, "/a?b=%20c&d");
}

} // namespace
} // namespace telvora::detail
