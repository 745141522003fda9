#include <Telvora/Platform/Curl/CurlTransfer.h>

#include <Telvora/Platform/Curl/CurlLibrary.h>
#include <Telvora/Platform/Curl/CurlServer.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace telvora::detail {
namespace {

using testing::HasSubstr;

/// A transfer that libcurl performs on the test's thread, to its end.
class CurlTransferTest : public testing::Test {
protected:
    CurlTransferTest()
    {
        CurlScope scope;
        EXPECT_TRUE(setUpLibcurl());
    }

    HTTPAnswer answerTo(HTTPRequest request)
    {
        CurlJobs job;
        job.emplace_back(std::move(request), HTTPClient::Completion());
        EXPECT_STREQ(transfer.begin(job, curlServer), nullptr);
        EXPECT_TRUE(job.empty());
        CurlJobs over = transfer.finish(curl_easy_perform(transfer.handle()));
        EXPECT_EQ(over.size(), 1U);
        return over.front().answer;
    }

    CurlHTTPOptions options;
    // Before the transfer, whose handle closes its connection through it.
    CurlConnections connections;
    CurlServer curlServer { options };
    CurlTransfer transfer { options, connections };
};

TEST_F(CurlTransferTest, ARequestGoesOutAsItIsAndItsAnswerComesBack)
{
    LoopbackServer server(always(LoopbackReply::answer(201, "{\"success\":true}")));

    const HTTPAnswer answer = answerTo(postTo(server.url("/batch"), "{\"a\":1}"));

    EXPECT_EQ(answer.error, std::nullopt);
    EXPECT_EQ(answer.status, 201);
    EXPECT_EQ(answer.data, "{\"success\":true}");
    EXPECT_TRUE(transfer.isReusable());
    ASSERT_EQ(server.received().size(), 1U);
    EXPECT_EQ(server.received().front().method, "POST");
    EXPECT_EQ(server.received().front().body, "{\"a\":1}");
}

TEST_F(CurlTransferTest, TheNextJobKeepsNothingOfTheOneBefore)
{
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    HTTPRequest first = postTo(server.url("/first"), "body");
    first.headers.emplace_back("x-first", "1");
    answerTo(std::move(first));

    answerTo({ server.url("/second"), "GET", {}, {} });

    const LoopbackRequest second = server.received().back();
    EXPECT_EQ(second.method, "GET");
    EXPECT_EQ(second.target, "/second");
    EXPECT_EQ(second.header("x-first"), "");
    EXPECT_EQ(second.body, "");
    EXPECT_EQ(server.connections(), 1U);
}

TEST_F(CurlTransferTest, ARedirectIsNotFollowedButNamed)
{
    LoopbackServer server(always(LoopbackReply::redirect(307, "/elsewhere")));

    answerTo(postTo(server.url("/batch")));

    ASSERT_NE(transfer.redirection(), nullptr);
    EXPECT_EQ(std::string(transfer.redirection()), server.url("/elsewhere"));
    EXPECT_EQ(server.received().size(), 1U);
}

TEST_F(CurlTransferTest, AConnectionThatClosesWithoutAnAnswerIsAnErrorAndNoRefusal)
{
    LoopbackServer server(always(LoopbackReply::close()));

    const HTTPAnswer answer = answerTo(postTo(server.url()));

    EXPECT_NE(answer.error, std::nullopt);
    EXPECT_FALSE(transfer.wasRefused());
    EXPECT_FALSE(transfer.isReusable());
    EXPECT_EQ(server.received().size(), 1U);
}

TEST_F(CurlTransferTest, AnAnswerBeyondTheLimitIsAnErrorThatNamesTheLimit)
{
    options.answerLimitBytes = 10;
    LoopbackServer server(always(LoopbackReply::answer(200, "12345678901")));

    EXPECT_THAT(answerTo(postTo(server.url())).error.value_or(""), HasSubstr("10 bytes"));
}

TEST_F(CurlTransferTest, AJobThatEndsWithAnErrorOfOursCarriesIt)
{
    CurlJobs job;
    job.emplace_back(postTo("http://127.0.0.1:1/"), HTTPClient::Completion());
    ASSERT_STREQ(transfer.begin(job, curlServer), nullptr);

    const CurlJobs over = transfer.finish("Timed out");

    ASSERT_EQ(over.size(), 1U);
    EXPECT_EQ(over.front().answer.error, "Timed out");
    EXPECT_FALSE(transfer.isReusable());
}

} // namespace
} // namespace telvora::detail
