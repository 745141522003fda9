#include <Telvora/Base/Dictionary.h>

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace telvora {
namespace {

void expectRefused(std::string_view text)
{
    const Decoded decoded = decode(text);
    EXPECT_FALSE(decoded.value) << text;
    EXPECT_NE(decoded.error, "") << text;
}

std::string nested(std::size_t levels)
{
    return std::string(levels, '[') + std::string(levels, ']');
}

TEST(DictionaryDecodeTest, ATextThatIsNestedDeeperThanTheStackAllowsIsRefused)
{
    constexpr std::size_t most = 8192;
    constexpr auto anyNumber = std::numeric_limits<std::size_t>::max();

    Decoded deepest = decode(nested(most), anyNumber);
    ASSERT_TRUE(deepest.value);
    dispose(std::move(*deepest.value));
    EXPECT_NE(decode(nested(most + 1), anyNumber).error, "");
    EXPECT_NE(decode(nested(1'000'000), anyNumber).error, "");
}

TEST(DictionaryDecodeTest, ReadsEveryKind)
{
    EXPECT_EQ(decode("null").value, Value(nullptr));
    EXPECT_EQ(decode("true").value, Value(true));
    EXPECT_EQ(decode(" -7 ").value, Value(-7));
    EXPECT_EQ(decode("1.5").value, Value(1.5));
    EXPECT_EQ(decode(R"("a\u00e9\n")").value, Value("a\xC3\xA9\n"));
    EXPECT_EQ(decode("[1,[]]").value, Value(Array { 1, Array() }));
    EXPECT_EQ(decode(R"({"a":{}})").value, Value(Dictionary { { "a", Dictionary() } }));
}

TEST(DictionaryDecodeTest, IntegersAreExactOver64Bits)
{
    EXPECT_EQ(
        decode("-9223372036854775808").value, Value(std::numeric_limits<std::int64_t>::min()));
    EXPECT_EQ(decode("9223372036854775808").value, Value(std::uint64_t(1) << 63));
    EXPECT_EQ(
        decode("18446744073709551615").value, Value(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_TRUE(decode("18446744073709551616").value->is_double());
    EXPECT_TRUE(decode("1e0").value->is_double());
    EXPECT_TRUE(decode("1.0").value->is_double());
}

TEST(DictionaryDecodeTest, DoublesAreTheNearestOnes)
{
    // The nearest double of each is known from its exact expansion.
    EXPECT_EQ(decode("0.1").value, Value(0.1));
    EXPECT_EQ(decode("9007199254740993.0").value, Value(9007199254740992.0));
    EXPECT_EQ(decode("1.7976931348623157e308").value, Value(std::numeric_limits<double>::max()));
    EXPECT_EQ(decode("5e-324").value, Value(5e-324));
    EXPECT_TRUE(std::signbit(decode("-0.0").value->as_double()));
}

TEST(DictionaryDecodeTest, DoublesKeepTheirPlaces)
{
    EXPECT_EQ(decode(R"({"a":0.1,"b":[2.5,1,{"c":-1e0}],"a":-3e-7,"d":0.0})").value,
        Value(Dictionary { { "a", -3e-7 }, { "b", Array { 2.5, 1, Dictionary { { "c", -1.0 } } } },
            { "d", 0.0 } }));
    EXPECT_EQ(
        decode(R"(["1.5\"2.5\\",3.5,"4.5"])").value, Value(Array { "1.5\"2.5\\", 3.5, "4.5" }));
}

TEST(DictionaryDecodeTest, ADoubleIsTheOneThatTheStandardLibraryReads)
{
    std::mt19937_64 random(7);
    std::string text = "[";
    std::vector<double> expected;
    for (int i = 0; i < 20'000; ++i) {
        const double number = std::bit_cast<double>(random());
        if (!std::isfinite(number))
            continue;
        std::array<char, 64> digits {};
        const auto [end, error] = i % 2 == 0
            ? std::to_chars(digits.begin(), digits.end(), number, std::chars_format::scientific)
            : std::to_chars(
                digits.begin(), digits.end(), number, std::chars_format::scientific, 20);
        ASSERT_EQ(error, std::errc());
        const std::string_view token(digits.begin(), end);
        expected.push_back(number);
        text += (expected.size() == 1 ? "" : ",") + std::string(token);
    }
    text += "]";

    const Decoded decoded = decode(text);
    ASSERT_TRUE(decoded.value) << decoded.error;
    const Array& numbers = decoded.value->as_array();
    ASSERT_EQ(numbers.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_EQ(numbers[i], Value(expected[i])) << i;
}

TEST(DictionaryDecodeTest, ANumberBeyondAnyDoubleIsRefusedAndOneTooNearToZeroIsZero)
{
    expectRefused("[0.5,1e400]");
    expectRefused("-1e400");
    expectRefused(std::string(400, '9'));
    EXPECT_EQ(decode("[0.5,1e-400]").value, Value(Array { 0.5, 0.0 }));
}

TEST(DictionaryDecodeTest, OfTwoMembersWithOneNameTheLastIsKept)
{
    EXPECT_EQ(decode(R"({"a":1,"a":2})").value, Value(Dictionary { { "a", 2 } }));
}

TEST(DictionaryDecodeTest, TextThatIsNotOneValueIsRefused)
{
    for (const char* text : { "", " ", "{", "[1,]", "{\"a\":}", "{a:1}", "01", "1.", ".5", "+1",
             "nan", "NaN", "1.e5", "1e", "1e+", "-", "-.5", "00.5", "-01e2", "1.5.5", "1-2",
             "1.5e3x", "[1.5 2.5]", "\"1.5", "Infinity", "tru", "'a'", "\"a", "\"\n\"", "{} {}",
             "1 2", "[1] x", "// c\n1", "\"\\x\"", "\"\\ud800\"" })
        expectRefused(text);
}

TEST(DictionaryDecodeTest, BytesThatAreNotUTF8AreRefused)
{
    for (const char* text :
        { "\"\xFF\"", "\"\xC3\"", "\"\xED\xA0\x80\"", "{\"\x80\":1}", "\xEF\xBB\xBF{}" })
        expectRefused(text);
}

TEST(DictionaryDecodeTest, ReadsUpTo512Levels)
{
    EXPECT_TRUE(decode(nested(512)).value);
    expectRefused(nested(513));
    expectRefused(std::string(1'000'000, '['));
}

TEST(DictionaryDecodeTest, AHugeTextIsRead)
{
    const std::string text = '"' + std::string(10'000'000, 'x') + '"';
    EXPECT_EQ(decode(text).value->as_string().size(), 10'000'000u);
}

} // namespace
} // namespace telvora
