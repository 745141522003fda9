#include <Telvora/Base/HeaderField.h>

#include <gtest/gtest.h>

#include <string>

namespace telvora::detail {
namespace {

TEST(HeaderFieldTest, NamesAreComparedWithoutRegardToCase)
{
    EXPECT_TRUE(isSameFieldName("Content-Type", "content-TYPE"));
    EXPECT_FALSE(isSameFieldName("Content-Type", "Content-Typ"));
    EXPECT_FALSE(isSameFieldName("a[", "a{"));
    EXPECT_FALSE(isSameFieldName("\xc3\x84", "\xc3\xa4"));
}

TEST(HeaderFieldTest, NameIsAToken)
{
    for (const char* name : { "a", "QVX-UUID", "x_1", "!#$%&'*+-.^_`|~0Zz" })
        EXPECT_TRUE(isFieldName(name)) << name;
    for (const char* name : { "", " ", "a b", "a:", "a ", " a", "a;", "a,b", "a\tb", "a\r\nb",
             "(a)", "a\x7f", "\xc3\xa9", "a=b", "a/b", "\"a\"", "<a>", "{a}", "[a]", "a@b" })
        EXPECT_FALSE(isFieldName(name)) << name;
    EXPECT_FALSE(isFieldName(std::string("a\0b", 3)));
}

TEST(HeaderFieldTest, ValueHasNeitherLineBreakNorNUL)
{
    for (const char* value : { "", " ", "a b", "a: b; c=\"d\"", "\xc3\xa9\t\x01" })
        EXPECT_TRUE(isFieldValue(value)) << value;
    for (const std::string value : { "a\r\nb", "a\nb", "a\rb", "\n" })
        EXPECT_FALSE(isFieldValue(value)) << value;
    EXPECT_FALSE(isFieldValue(std::string("a\0b", 3)));
}

TEST(HeaderFieldTest, TrimmedValueKeepsWhiteSpaceInside)
{
    EXPECT_EQ(trimmedFieldValue(" \t\r\n\v\fa b\r\nc \t\r\n\v\f"), "a b\r\nc");
    EXPECT_EQ(trimmedFieldValue("a"), "a");
    EXPECT_EQ(trimmedFieldValue(" \r\n"), "");
    EXPECT_EQ(trimmedFieldValue(""), "");
}

} // namespace
} // namespace telvora::detail
