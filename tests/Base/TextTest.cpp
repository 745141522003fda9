#include <Telvora/Base/NumberText.h>
#include <Telvora/Base/UUIDText.h>

#include <tests/Base/JSONTesting.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

namespace telvora {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(NumberTextTest, IsTheShortestTextWithAPointOrAnExponent)
{
    EXPECT_EQ(detail::numberText(390), "390.0");
    EXPECT_EQ(detail::numberText(2.5), "2.5");
    EXPECT_EQ(detail::numberText(0), "0.0");
    EXPECT_EQ(detail::numberText(-0.0), "-0.0");
    EXPECT_EQ(detail::numberText(1e300), "1e+300");
    EXPECT_EQ(detail::numberText(infinity), "inf");
    EXPECT_EQ(detail::numberText(-infinity), "-inf");
    EXPECT_EQ(detail::numberText(std::numeric_limits<double>::quiet_NaN()), "nan");
}

TEST(NumberTextTest, IsReadAsTheSameNumberAndFitsLongestNumberText)
{
    RandomJSON random(1);
    for (int round = 0; round < 50'000; ++round) {
        const double number = random.number();
        const std::string text = detail::numberText(number);
        ASSERT_LE(text.size(), detail::longestNumberText);
        ASSERT_NE(text.find_first_of(".e"), std::string::npos) << text;
        ASSERT_EQ(std::strtod(text.c_str(), nullptr), number) << text;
    }
}

TEST(DecimalTextTest, NeverHasAnExponent)
{
    EXPECT_EQ(detail::decimalText(390), "390.0");
    EXPECT_EQ(detail::decimalText(2532), "2532.0");
    EXPECT_EQ(detail::decimalText(100'000), "100000.0");
    EXPECT_EQ(detail::decimalText(1e16), "10000000000000000.0");
    EXPECT_EQ(detail::decimalText(0.000001), "0.000001");
    EXPECT_EQ(detail::decimalText(-1.5), "-1.5");
    EXPECT_EQ(detail::decimalText(infinity), "inf");
}

TEST(DecimalTextTest, IsReadAsTheSameNumber)
{
    RandomJSON random(2);
    for (int round = 0; round < 5'000; ++round) {
        const double number = random.number();
        const std::string text = detail::decimalText(number);
        ASSERT_EQ(text.find('e'), std::string::npos);
        ASSERT_NE(text.find('.'), std::string::npos);
        ASSERT_EQ(std::strtod(text.c_str(), nullptr), number) << text;
    }
    EXPECT_EQ(std::strtod(detail::decimalText(-5e-324).c_str(), nullptr), -5e-324);
    EXPECT_EQ(std::strtod(detail::decimalText(1.7e308).c_str(), nullptr), 1.7e308);
}

TEST(UUIDTextTest, IsUpperCaseIn8And4And4And4And12)
{
    const UUID uuid { { 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB,
        0xCC, 0xDD, 0xEE, 0xFF } };

    EXPECT_EQ(uuidText(uuid), "00112233-4455-6677-8899-AABBCCDDEEFF");
}

} // namespace
} // namespace telvora
