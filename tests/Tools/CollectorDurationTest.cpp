#include <tools/collector/Duration.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace telvora::collector {
namespace {

using namespace std::chrono_literals;

TEST(CollectorDurationTest, HasANumberAndAUnit)
{
    EXPECT_EQ(readDuration("250ms", 1h), 250ms);
    EXPECT_EQ(readDuration("3s", 1h), 3s);
    EXPECT_EQ(readDuration("2min", 1h), 2min);
    EXPECT_EQ(readDuration("1h", 1h), 1h);
    EXPECT_EQ(readDuration("1.5 s", 1h), 1500ms);
    EXPECT_EQ(readDuration("0s", 1h), 0s);
}

TEST(CollectorDurationTest, IsRoundedToMilliseconds)
{
    EXPECT_EQ(readDuration("0.4ms", 1h), 0ms);
    EXPECT_EQ(readDuration("0.0006s", 1h), 1ms);
    EXPECT_EQ(secondsDuration(1.2345, 1h), 1235ms);
}

TEST(CollectorDurationTest, IsAbsentWhereTheTextIsSomethingElse)
{
    for (const std::string_view text :
        { "", "s", "3", "3 ", "3m", "3S", "3sec", "3s ", " 3s", "3  s", "-1s", "+1s", "1e3s",
            "0x3s", "nans", "infs", "inf s", "1,5s", "3s4ms", "1e999s" })
        EXPECT_FALSE(readDuration(text, 1h)) << text;
    EXPECT_FALSE(readDuration(std::string_view("3s\0", 3), 1h));
}

TEST(CollectorDurationTest, IsAbsentBeyondTheLongest)
{
    EXPECT_TRUE(readDuration("3600s", 1h));
    EXPECT_FALSE(readDuration("3600.001s", 1h));
    EXPECT_FALSE(readDuration(std::string(400, '9') + "h", 1h));
}

} // namespace
} // namespace telvora::collector
