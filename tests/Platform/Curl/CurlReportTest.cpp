#include <Telvora/Platform/Curl/CurlReport.h>

#include <gtest/gtest.h>

namespace telvora::detail {
namespace {

TEST(CurlReportTest, StreamOfARequestIsRead)
{
    EXPECT_EQ(reportIn("Using Stream ID: 5 (easy handle 0x55d8)\n").stream, 5U);
}

TEST(CurlReportTest, LastStreamOfAConnectionIsReadInBothSpellings)
{
    EXPECT_EQ(reportIn("recveived GOAWAY, error=0, last_stream=199\n").lastStream, 199U);
    EXPECT_EQ(reportIn("received GOAWAY, error=0, last_stream=2147483647").lastStream, 2147483647U);
}

TEST(CurlReportTest, RefusalIsRead)
{
    EXPECT_TRUE(reportIn("REFUSED_STREAM, retrying a fresh connect\n").isRefused);
}

TEST(CurlReportTest, RepetitionIsRead)
{
    EXPECT_TRUE(
        reportIn("Connection died, retrying a fresh connect (retry count: 1)\n").isRepeating);
}

TEST(CurlReportTest, OtherLinesReportNothing)
{
    for (const char* line : { "", "Using Stream ID: ", "Using Stream ID: x", "GOAWAY",
             "received GOAWAY, error=0, last_stream=99999999999", "Connection #0 left intact",
             "< x: REFUSED_STREAM, retrying", "Connection died" }) {
        const CurlReport report = reportIn(line);
        EXPECT_FALSE(report.stream || report.lastStream || report.isRefused || report.isRepeating)
            << line;
    }
}

} // namespace
} // namespace telvora::detail
