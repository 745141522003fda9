#include <Telvora/Base/ASCII.h>

#include <gtest/gtest.h>

namespace telvora::detail {
namespace {

TEST(ASCIITest, OnlyLettersOfASCIIAreLowered)
{
    EXPECT_EQ(lowered("AZaz09@[`{ \xC4"), "azaz09@[`{ \xC4");
}

TEST(ASCIITest, TextsThatDifferInCaseAloneAreEqual)
{
    EXPECT_TRUE(equalsIgnoringCase("Content-Type", "cONTENT-tYPE"));
    EXPECT_TRUE(equalsIgnoringCase("", ""));
    EXPECT_FALSE(equalsIgnoringCase("Content-Type", "Content-Typ"));
    EXPECT_FALSE(equalsIgnoringCase("[", "{"));
    EXPECT_FALSE(equalsIgnoringCase("\xC4", "\xE4"));
}

} // namespace
} // namespace telvora::detail
