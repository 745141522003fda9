#include <Telvora/Base/SharedBytes.h>

#include <gtest/gtest.h>

namespace telvora {
namespace {

TEST(SharedBytesTest, IsEmptyUntilGivenBytes)
{
    const SharedBytes none;

    EXPECT_TRUE(none.empty());
    EXPECT_EQ(none.size(), 0u);
    EXPECT_EQ(none, "");
    EXPECT_TRUE(SharedBytes(std::string()).empty());
}

TEST(SharedBytesTest, HoldsAnyBytes)
{
    const std::string zeros(3, '\0');
    const SharedBytes bytes(zeros);

    EXPECT_EQ(bytes, zeros);
    EXPECT_EQ(bytes.size(), 3u);
    EXPECT_EQ(std::string(bytes), zeros);
}

TEST(SharedBytesTest, ACopySharesTheBytes)
{
    const SharedBytes bytes = "a body";
    const SharedBytes copied = bytes;

    EXPECT_EQ(copied.data(), bytes.data());
}

TEST(SharedBytesTest, ComparesTheBytes)
{
    EXPECT_EQ(SharedBytes("a"), SharedBytes("a"));
    EXPECT_NE(SharedBytes("a"), SharedBytes("b"));
    EXPECT_NE(SharedBytes("a"), std::string("b"));
    EXPECT_NE(SharedBytes("a"), std::string_view("b"));
}

} // namespace
} // namespace telvora
