#include <Telvora/Platform/Curl/CurlAnswer.h>

#include <gtest/gtest.h>

#include <string>

namespace telvora::detail {
namespace {

class CurlAnswerTest : public testing::Test {
protected:
    std::size_t limit = 10;
    CurlAnswer answer { limit };
};

TEST_F(CurlAnswerTest, DataUpToTheLimitIsKept)
{
    EXPECT_TRUE(answer.addData("12345"));
    EXPECT_TRUE(answer.addData("67890"));

    EXPECT_EQ(answer.limitError(), std::nullopt);
    EXPECT_EQ(answer.takeData(), "1234567890");
}

TEST_F(CurlAnswerTest, OneByteBeyondTheLimitIsRefusedAndNamed)
{
    EXPECT_TRUE(answer.addData("1234567890"));

    EXPECT_FALSE(answer.addData("x"));

    EXPECT_NE(answer.limitError(), std::nullopt);
}

TEST_F(CurlAnswerTest, HeadersAreRefusedOnceTheyAreTooLongTogether)
{
    const std::string line = "name: " + std::string(990, 'x') + "\r\n";
    int taken = 0;
    while (taken < 1000 && answer.addHeader(line))
        ++taken;

    EXPECT_GT(taken, 10);
    EXPECT_LT(taken, 1000);
    EXPECT_NE(answer.limitError(), std::nullopt);
}

TEST_F(CurlAnswerTest, HeadersAreThoseOfTheLastHead)
{
    for (const char* line :
        { "HTTP/1.1 100 Continue\r\n", "Early: 1\r\n", "\r\n", "HTTP/1.1 200 OK\r\n",
            "Name:\t value \r\n", "no colon\r\n", "Empty:\r\n", "\r\n", "Trailer: 1\r\n" })
        EXPECT_TRUE(answer.addHeader(line));

    EXPECT_EQ(answer.takeHeaders(), (HTTPHeaders { { "Name", "value" }, { "Empty", "" } }));

    answer.addHeader("HTTP/1.1 200 OK\r\n");
    answer.addHeader("Name: value\r\n");
    answer.clear();
    EXPECT_EQ(answer.takeHeaders(), HTTPHeaders());
}

TEST_F(CurlAnswerTest, FramingThatOutgrowsItsDataIsBeyondTheLimit)
{
    EXPECT_TRUE(answer.isFramingWithinLimit());

    for (int count = 0; count < 1000; ++count)
        answer.countBody(1000);

    EXPECT_FALSE(answer.isFramingWithinLimit());
}

TEST_F(CurlAnswerTest, TheHeadIsWholeAfterItsEmptyLine)
{
    answer.addHeader("HTTP/1.1 200 OK\r\n");
    EXPECT_FALSE(answer.isHeadWhole());

    answer.addHeader("\r\n");

    EXPECT_TRUE(answer.isHeadWhole());
}

TEST_F(CurlAnswerTest, TheNextAnswerBeginsEmpty)
{
    answer.addHeader("\r\n");
    answer.addData("1234567890");
    EXPECT_FALSE(answer.addData("x"));

    answer.clear();

    EXPECT_FALSE(answer.isHeadWhole());
    EXPECT_EQ(answer.limitError(), std::nullopt);
    EXPECT_EQ(answer.takeData(), "");
}

} // namespace
} // namespace telvora::detail
