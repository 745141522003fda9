#include <Telvora/Base/Dictionary.h>

#include <tests/Base/JSONTesting.h>

#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

#include <limits>

namespace telvora {
namespace {

using namespace std::string_view_literals;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

std::string textOf(const Value& value)
{
    return encode(value).value_or("(none)");
}

TEST(DictionaryEncodeTest, MembersKeepTheirOrder)
{
    Dictionary dictionary;
    for (const char* key : { "z", "", "a", "m" })
        dictionary[key] = nullptr;

    EXPECT_EQ(encode(dictionary), R"({"z":null,"":null,"a":null,"m":null})");
}

TEST(DictionaryEncodeTest, EveryKindOfValueIsEncoded)
{
    EXPECT_EQ(textOf(nullptr), "null");
    EXPECT_EQ(textOf(true), "true");
    EXPECT_EQ(textOf(false), "false");
    EXPECT_EQ(textOf("text"), "\"text\"");
    EXPECT_EQ(textOf(Array { 1, "a", nullptr }), R"([1,"a",null])");
    EXPECT_EQ(textOf(Array()), "[]");
    EXPECT_EQ(textOf(Dictionary()), "{}");
    EXPECT_EQ(textOf(Dictionary { { "a", Array { Dictionary() } } }), R"({"a":[{}]})");
}

TEST(DictionaryEncodeTest, IntegersAreExactOver64Bits)
{
    EXPECT_EQ(textOf(0), "0");
    EXPECT_EQ(textOf(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(textOf(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
    EXPECT_EQ(textOf(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
}

TEST(DictionaryEncodeTest, DoublesHaveAPointOrAnExponent)
{
    EXPECT_EQ(textOf(1.0), "1.0");
    EXPECT_EQ(textOf(-0.0), "-0.0");
    EXPECT_EQ(textOf(0.1), "0.1");
    EXPECT_EQ(textOf(1e300), "1e+300");
    EXPECT_EQ(textOf(5e-324), "5e-324");
    EXPECT_EQ(textOf(1700000000.25), "1700000000.25");
    EXPECT_EQ(textOf(9007199254740993.0), "9007199254740992.0");
}

TEST(DictionaryEncodeTest, ANumberThatIsNotFiniteMakesTheTextAbsent)
{
    for (const double number : { infinity, -infinity, notANumber }) {
        EXPECT_EQ(encode(Value(number)), std::nullopt);
        EXPECT_EQ(encode(Dictionary { { "a", 1 }, { "b", number } }), std::nullopt);
        EXPECT_EQ(encode(Dictionary { { "a", { 1, { { "b", number } } } } }), std::nullopt);
        EXPECT_EQ(encode(Dictionary { { "b", number } }, EncodeStyle::pretty), std::nullopt);
    }
}

TEST(DictionaryEncodeTest, QuotesBackslashesAndControlsAreEscaped)
{
    EXPECT_EQ(textOf("\"\\/\b\f\n\r\t"), R"("\"\\/\b\f\n\r\t")");
    EXPECT_EQ(textOf("\x01\x1F\x7F"), "\"\\u0001\\u001f\x7F\"");
    EXPECT_EQ(textOf(Value("a\0b"sv)), R"("a\u0000b")");
    EXPECT_EQ(encode(Dictionary { { "k\n", 1 } }), R"({"k\n":1})");
}

TEST(DictionaryEncodeTest, AnEscapeIsFoundAtEveryPlaceOfAWord)
{
    // The encoder looks at eight bytes at a time.
    for (std::size_t length = 0; length < 20; ++length) {
        for (std::size_t at = 0; at <= length; ++at) {
            std::string text(length, 'x');
            text.insert(at, "\n");
            std::string expected = std::string(length, 'x');
            expected.insert(at, "\\n");
            EXPECT_EQ(textOf(Value(std::string_view(text))), '"' + expected + '"');
        }
    }
}

TEST(DictionaryEncodeTest, CharactersBeyondASCIIAreNotEscaped)
{
    EXPECT_EQ(
        textOf("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"");
}

TEST(DictionaryEncodeTest, KeysAreRepairedLikeText)
{
    EXPECT_EQ(encode(Dictionary { { "k\xFF", 1 } }), "{\"k\xEF\xBF\xBD\":1}");
}

TEST(DictionaryEncodeTest, ThePrettyFormHasOneMemberALineAndTwoSpacesALevel)
{
    const Dictionary dictionary { { "a", 1 }, { "b", { true, Array() } },
        { "c", { { "d", Dictionary() }, { "e", "f" } } } };

    EXPECT_EQ(encode(dictionary, EncodeStyle::pretty), R"({
  "a" : 1,
  "b" : [
    true,
    []
  ],
  "c" : {
    "d" : {},
    "e" : "f"
  }
})");
    EXPECT_EQ(encode(Dictionary(), EncodeStyle::pretty), "{}");
}

TEST(DictionaryEncodeTest, TheDescriptionOfADictionaryNeverFails)
{
    EXPECT_EQ(describe({ { "a", notANumber }, { "b", infinity }, { "c", { -infinity, nullptr } } }),
        R"({"a":nan,"b":inf,"c":[-inf,null]})");
    EXPECT_EQ(describe({ { "bad", "\xFF" } }), "{\"bad\":\"\xEF\xBF\xBD\"}");
    EXPECT_EQ(describe({}), "{}");
}

TEST(DictionaryEncodeTest, EncodingADeepValueDoesNotRecurse)
{
    constexpr std::size_t levels = 200'000;
    Value value = deepArray(levels);
    Dictionary dictionary = deepDictionary(levels);

    EXPECT_EQ(encode(value)->size(), 2 * levels + "\"bottom\""sv.size());
    EXPECT_TRUE(encode(dictionary)->starts_with(R"({"n":199999,"in":{"n":199998,)"));
    EXPECT_EQ(describe(dictionary), encode(dictionary));

    dispose(std::move(value));
    dispose(std::move(dictionary));
}

TEST(DictionaryEncodeTest, EveryDoubleIsDecodedAsTheSameDouble)
{
    RandomJSON random(1);
    for (int round = 0; round < 20'000; ++round) {
        const double number = random.number();
        const Decoded decoded = decode(textOf(number));
        ASSERT_TRUE(decoded.value && decoded.value->is_double()) << textOf(number);
        ASSERT_EQ(decoded.value->get_double(), number) << textOf(number);
        ASSERT_EQ(std::signbit(decoded.value->get_double()), std::signbit(number));
    }
}

TEST(DictionaryEncodeTest, EveryDictionaryIsDecodedAsTheSameInBothStyles)
{
    RandomJSON random(2);
    for (int round = 0; round < 2'000; ++round) {
        const Dictionary dictionary = random.dictionary(4);
        for (const EncodeStyle style : { EncodeStyle::compact, EncodeStyle::pretty }) {
            const Decoded decoded = decode(*encode(dictionary, style));
            ASSERT_TRUE(decoded.value) << decoded.error;
            ASSERT_EQ(*decoded.value, Value(dictionary));
        }
    }
}

TEST(DictionaryEncodeTest, BoostsParserAcceptsTheText)
{
    RandomJSON random(3);
    boost::json::error_code error;
    for (int round = 0; round < 500; ++round) {
        Dictionary dictionary = random.dictionary(3);
        boost::json::parse(*encode(dictionary, EncodeStyle::pretty), error);
        ASSERT_FALSE(error) << error.message();
    }
}

TEST(DictionaryEncodeMergedTest, ValuesOfTheSecondWinAndBothStayUnchanged)
{
    const Dictionary under { { "a", 1 }, { "b", 2 } };
    const Dictionary over { { "b", nullptr }, { "c", 3 } };

    EXPECT_EQ(encodeMerged(under, over), R"({"a":1,"b":null,"c":3})");
    EXPECT_EQ(encodeMerged(over, under), R"({"c":3,"a":1,"b":2})");
    EXPECT_EQ(encodeMerged(under, {}), encode(under));
    EXPECT_EQ(encodeMerged({}, over), encode(over));
    EXPECT_EQ(encodeMerged({}, {}), "{}");
}

TEST(DictionaryEncodeMergedTest, AReplacedValueThatIsNotFiniteDoesNotMatter)
{
    EXPECT_EQ(encodeMerged({ { "a", notANumber } }, { { "a", 1 } }), R"({"a":1})");
    EXPECT_EQ(encodeMerged({ { "a", notANumber } }, { { "b", 1 } }), std::nullopt);
    EXPECT_EQ(encodeMerged({ { "a", 1 } }, { { "a", notANumber } }), std::nullopt);
}

TEST(DictionaryEncodeMergedTest, AgreesWithMergingFirst)
{
    RandomJSON random(4);
    for (int round = 0; round < 1'000; ++round) {
        const Dictionary under = random.dictionary(2);
        const Dictionary over = random.dictionary(2);
        Dictionary merged = under;
        for (const auto& member : over)
            merged[member.key()] = member.value();

        ASSERT_EQ(decode(*encodeMerged(under, over)).value, Value(merged));
    }
}

} // namespace
} // namespace telvora
