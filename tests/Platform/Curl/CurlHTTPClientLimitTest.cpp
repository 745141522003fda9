#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// More of something than a normal server sends, and then nothing more. Only a limit makes it an
/// error before the time-out.
LoopbackReply endless(const std::string& begin, const std::string& again)
{
    std::string bytes = begin;
    while (bytes.size() < 1'000'000)
        bytes += again;
    return raw({ { bytes }, { "", 1h } });
}

bool isTimeout(const HTTPAnswer& answer)
{
    return !answer.error || *answer.error == "Timed out";
}

const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

TEST(CurlHTTPClientLimitTest, AnswerAsLongAsTheLimitIsTaken)
{
    CurlHTTPOptions options;
    options.answerLimitBytes = 1000;

    HTTPAnswer answer = answerFor(LoopbackReply::answer(200, std::string(1000, 'x')), options);

    EXPECT_EQ(answer.data, std::string(1000, 'x'));
}

TEST(CurlHTTPClientLimitTest, AnswerAnnouncedAboveTheLimitIsAnError)
{
    CurlHTTPOptions options;
    options.answerLimitBytes = 1000;

    HTTPAnswer answer = answerFor(LoopbackReply::answer(200, std::string(1001, 'x')), options);

    EXPECT_THAT(answer.error.value_or(""), HasSubstr("above 1000 bytes"));
    EXPECT_FALSE(answer.data);
}

TEST(CurlHTTPClientLimitTest, AnswerThatGrowsAboveTheLimitIsAnError)
{
    CurlHTTPOptions options;
    options.answerLimitBytes = 1000;

    HTTPAnswer answer
        = answerFor(raw({ { "HTTP/1.1 200 OK\r\n\r\n" + std::string(1001, 'x') } }), options);

    EXPECT_THAT(answer.error.value_or(""), HasSubstr("above 1000 bytes"));
}

TEST(CurlHTTPClientLimitTest, DefaultLimitIsFourMegabytes)
{
    std::string limit(4 * 1024 * 1024, 'x');

    EXPECT_EQ(answerFor(LoopbackReply::answer(200, limit)).data, limit);
    EXPECT_TRUE(answerFor(LoopbackReply::answer(200, limit + 'x')).error);
}

TEST(CurlHTTPClientLimitTest, HeadersOfTwiceThirtyKilobytesAreTaken)
{
    const std::string header = "X: " + std::string(30'000, 'x') + "\r\n";

    const HTTPAnswer answer = answerFor(LoopbackReply::answer(200, "{}", header + header));

    EXPECT_EQ(answer.data, "{}");
}

TEST(CurlHTTPClientLimitTest, EndlessHeadersAreAnError)
{
    const HTTPAnswer answer = answerFor(endless("HTTP/1.1 200 OK\r\n", "X: y\r\n"));

    EXPECT_EQ(answer.error, "Headers of the answer above 65536 bytes");
}

TEST(CurlHTTPClientLimitTest, EndlessHeaderIsAnError)
{
    EXPECT_FALSE(isTimeout(answerFor(endless("HTTP/1.1 200 OK\r\nX: ", "xxxxxxxxxx"))));
}

TEST(CurlHTTPClientLimitTest, EndlessTrailersAreAnError)
{
    const HTTPAnswer answer
        = answerFor(endless(chunked + "2\r\n{}\r\n0\r\n", "X: " + std::string(50, 'y') + "\r\n"));

    EXPECT_EQ(answer.error, "Headers of the answer above 65536 bytes");
}

TEST(CurlHTTPClientLimitTest, EndlessTrailerIsAnError)
{
    EXPECT_FALSE(isTimeout(answerFor(endless(chunked + "0\r\nX: ", "xxxxxxxxxx"))));
}

TEST(CurlHTTPClientLimitTest, HeadersAndTrailersAreCountedTogether)
{
    std::string headers;
    while (headers.size() < 33'000)
        headers += "X: " + std::string(1000, 'x') + "\r\n";

    const HTTPAnswer answer = answerFor(raw({ { "HTTP/1.1 200 OK\r\n" + headers
        + "Transfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n" + headers + "\r\n" } }));

    EXPECT_EQ(answer.error, "Headers of the answer above 65536 bytes");
}

TEST(CurlHTTPClientLimitTest, EndlessInterimAnswersAreAnError)
{
    const HTTPAnswer answer = answerFor(endless("", "HTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\n"));

    EXPECT_EQ(answer.error, "Headers of the answer above 65536 bytes");
}

TEST(CurlHTTPClientLimitTest, EndlessBodyIsAnError)
{
    CurlHTTPOptions options;
    options.answerLimitBytes = 100'000;

    for (const std::string& begin : { std::string("HTTP/1.1 200 OK\r\n\r\n"), chunked }) {
        const HTTPAnswer answer = answerFor(endless(begin, "5\r\nxxxxx\r\n"), options);
        EXPECT_EQ(answer.error, "Answer above 100000 bytes");
    }
}

TEST(CurlHTTPClientLimitTest, EndlessExtensionOfAChunkIsAnError)
{
    const HTTPAnswer answer = answerFor(endless(chunked + "2;x=", "xxxxxxxxxx"));

    EXPECT_EQ(answer.error, "Chunk framing of the answer too long");
}

TEST(CurlHTTPClientLimitTest, ChunksWithLongExtensionsAreAnError)
{
    const HTTPAnswer answer
        = answerFor(endless(chunked, "1;" + std::string(1000, 'x') + "\r\ny\r\n"));

    EXPECT_EQ(answer.error, "Chunk framing of the answer too long");
}

TEST(CurlHTTPClientLimitTest, ManyTinyChunksAreTaken)
{
    std::string bytes = chunked;
    for (int number = 0; number < 100'000; ++number)
        bytes += "1\r\nx\r\n";

    const HTTPAnswer answer = answerFor(raw({ { bytes + "0\r\n\r\n" } }));

    EXPECT_EQ(answer.data, std::string(100'000, 'x'));
}

} // namespace
} // namespace telvora::detail
