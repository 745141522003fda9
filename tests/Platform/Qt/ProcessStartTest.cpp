#include <Telvora/Platform/Qt/ProcessStart.h>

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

// As in /proc/self/stat: the start is the 22nd field.
std::string statWith(const std::string& start, const std::string& name = "app")
{
    std::string text = "4711 (" + name + ") S";
    for (int field = 4; field < 22; ++field)
        text += " 1";
    return text + ' ' + start + " 0 0\n";
}

TEST(ProcessStartTest, TheAgeIsAsExactAsTheKernelsSteps)
{
    EXPECT_EQ(processAge(statWith("12345"), 100, 124s), 550ms);
    EXPECT_EQ(processAge(statWith("12399"), 100, 124s), 10ms);
}

TEST(ProcessStartTest, TheAgeIsRightAfterYearsWithoutARestart)
{
    // A hundred years.
    EXPECT_EQ(processAge(statWith("315360000050"), 100, 3'153'600'001s), 500ms);
}

TEST(ProcessStartTest, AProgramsNameMayHaveSpacesAndParentheses)
{
    EXPECT_EQ(processAge(statWith("150", "a) S 1 (b"), 100, 2s), 500ms);
}

TEST(ProcessStartTest, ATextThatIsNoStatusHasNoAge)
{
    EXPECT_EQ(processAge("", 100, 2s), std::nullopt);
    EXPECT_EQ(processAge("1 (app) S 1 2", 100, 2s), std::nullopt);
    EXPECT_EQ(processAge(statWith("x"), 100, 2s), std::nullopt);
    EXPECT_EQ(processAge(statWith("300"), 100, 2s), std::nullopt);
}

TEST(ProcessStartTest, ThisProcessIsYoung)
{
    const auto age = processAge();
    ASSERT_TRUE(age);
    EXPECT_GE(*age, 0s);
    EXPECT_LT(*age, 1h);
}

} // namespace
} // namespace telvora::detail
