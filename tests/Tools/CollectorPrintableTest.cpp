#include <tools/collector/Printable.h>

#include <gtest/gtest.h>

namespace telvora::collector {
namespace {

TEST(CollectorPrintableTest, OrdinaryTextStaysAsItIs)
{
    EXPECT_EQ(printable("/e2e?a=\"b\" äöü 日本 \xF0\x9F\x98\x80", 100),
        "/e2e?a=\"b\" äöü 日本 \xF0\x9F\x98\x80");
}

TEST(CollectorPrintableTest, ControlCharactersAreEscaped)
{
    EXPECT_EQ(printable("\x1B[2J\r\n\t\x7F", 100), "\\x1b[2J\\x0d\\x0a\\x09\\x7f");
    EXPECT_EQ(printable(std::string_view("a\0b", 3), 100), "a\\x00b");
    EXPECT_EQ(printable("\xC2\x9B"
                        "2J \xC2\xA0",
                  100),
        "\\xc2\\x9b2J \xC2\xA0");
}

TEST(CollectorPrintableTest, MarksOfDirectionAndLineSeparatorsAreEscaped)
{
    EXPECT_EQ(printable("\u202Egpj.exe\u2069\u2028", 100),
        "\\xe2\\x80\\xaegpj.exe\\xe2\\x81\\xa9\\xe2\\x80\\xa8");
}

TEST(CollectorPrintableTest, BytesThatAreNotUTF8AreEscaped)
{
    EXPECT_EQ(printable("\xFFz\xC3", 100), "\\xffz\\xc3");
}

TEST(CollectorPrintableTest, LongTextIsCutBetweenCharacters)
{
    EXPECT_EQ(printable("abc", 3), "abc");
    EXPECT_EQ(printable("abcd", 3), "abc...");
    EXPECT_EQ(printable("abäc", 3), "ab...");
    EXPECT_EQ(printable("", 0), "");
}

} // namespace
} // namespace telvora::collector
