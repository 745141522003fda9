#include <Telvora/Platform/Curl/CurlReport.h>

#include <gtest/gtest.h>

namespace telvora::detail {
namespace {

TEST(CurlReportTest, StreamOfARequestIsRead)
{
    EXPECT_EQ(parseLogLine("Using Stream ID: 5 (easy handle 0x55d8)\n").stream, 5U);
}

TEST(CurlReportTest, LastStreamOfAConnectionIsReadInBothSpellings)
{
    EXPECT_EQ(parseLogLine("recveived GOAWAY, error=0, last_stream=199\n").lastStream, 199U);
    EXPECT_EQ(
        parseLogLine("received GOAWAY, error=0, last_stream=2147483647").lastStream, 2147483647U);
}

TEST(CurlReportTest, RefusalIsRead)
{
    EXPECT_TRUE(parseLogLine("REFUSED_STREAM, retrying a fresh connect\n").isRefused);
}

TEST(CurlReportTest, RepetitionIsRead)
{
    EXPECT_TRUE(
        parseLogLine("Connection died, retrying a fresh connect (retry count: 1)\n").isRepeating);
}

TEST(CurlReportTest, OtherLinesReportNothing)
{
    for (const char* line : { "", "Using Stream ID: ", "Using Stream ID: x", "GOAWAY",
             "received GOAWAY, error=0, last_stream=99999999999", "Connection #0 left intact",
             "< x: REFUSED_STREAM, retrying", "Connection died" }) {
        const CurlReport report = parseLogLine(line);
        EXPECT_FALSE(report.stream || report.lastStream || report.isRefused || report.isRepeating)
            << line;
    }
}

} // namespace
} // namespace telvora::detail
