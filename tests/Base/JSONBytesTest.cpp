#include <Telvora/Base/JSONBytes.h>

#include <gtest/gtest.h>

#include <string>

namespace telvora::detail {
namespace {

struct Form {
    std::size_t unitBytes;
    bool isBigEndian;
    bool hasMark;
};

// The characters of `text` in another encoding.
std::string encoded(const std::u32string& text, Form form)
{
    std::u32string units;
    for (const char32_t character : (form.hasMark ? U"\ufeff" : U"") + text) {
        if (form.unitBytes == 2 && character > 0xffff) {
            units += 0xd800 + ((character - 0x10000) >> 10);
            units += 0xdc00 + ((character - 0x10000) & 0x3ff);
        } else {
            units += character;
        }
    }
    std::string bytes;
    for (const char32_t unit : units) {
        for (std::size_t place = 0; place < form.unitBytes; ++place) {
            const std::size_t shift = 8 * (form.isBigEndian ? form.unitBytes - 1 - place : place);
            bytes += static_cast<char>(unit >> shift & 0xff);
        }
    }
    return bytes;
}

class JSONBytesTest : public testing::TestWithParam<Form> { };

TEST_P(JSONBytesTest, ObjectIsReadInEachEncoding)
{
    const Decoded decoded
        = decodeBytes(encoded(U"{\"success\":true,\"\u00e9\":\"\u4e2d\U0001f600\"}", GetParam()));

    ASSERT_TRUE(decoded.value) << decoded.error;
    EXPECT_EQ(*decoded.value,
        Value(Dictionary { { "success", true }, { "\u00e9", "\u4e2d\U0001f600" } }));
}

TEST_P(JSONBytesTest, ShortTextsAreReadInEachEncoding)
{
    EXPECT_EQ(decodeBytes(encoded(U"{}", GetParam())).value, Value(Dictionary()));
    EXPECT_EQ(decodeBytes(encoded(U"7", GetParam())).value, Value(7));
}

TEST_P(JSONBytesTest, BrokenTextIsRefusedInEachEncoding)
{
    for (const auto* text : { U"", U"{", U"{}x", U"\ufeff\ufeff{}", U"<html>" })
        EXPECT_FALSE(decodeBytes(encoded(text, GetParam())).value);
}

TEST_P(JSONBytesTest, TextThatEndsWithinACharacterIsRefused)
{
    const std::string whole = encoded(U"[1]", GetParam());

    for (std::size_t bytes = 1; bytes < GetParam().unitBytes; ++bytes)
        EXPECT_FALSE(decodeBytes(whole + std::string(bytes, ' ')).value) << bytes;
}

std::string nameOf(const testing::TestParamInfo<Form>& form)
{
    return "UTF" + std::to_string(8 * form.param.unitBytes)
        + (form.param.isBigEndian ? "BigEndian" : "LittleEndian")
        + (form.param.hasMark ? "Marked" : "");
}

INSTANTIATE_TEST_SUITE_P(Encodings, JSONBytesTest,
    testing::Values(Form { 2, false, false }, Form { 2, false, true }, Form { 2, true, false },
        Form { 2, true, true }, Form { 4, false, false }, Form { 4, false, true },
        Form { 4, true, false }, Form { 4, true, true }),
    nameOf);

TEST(JSONBytesUTF8Test, ByteOrderMarkIsSkipped)
{
    EXPECT_EQ(decodeBytes("\xEF\xBB\xBF{}").value, Value(Dictionary()));
    EXPECT_EQ(decodeBytes("{}").value, Value(Dictionary()));
}

TEST(JSONBytesUTF8Test, TextThatIsNotJSONIsRefused)
{
    using namespace std::string_view_literals;
    for (const std::string_view text :
        { ""sv, "\xEF\xBB\xBF"sv, "\xEF\xBB\xBF\xEF\xBB\xBF{}"sv, "\xEF\xBB{}"sv, "{}\0"sv,
            "\0{}"sv, "\"\xff\""sv, "\xFE"sv, "\xFF"sv, "\0"sv, "\0\0\0\0"sv })
        EXPECT_FALSE(decodeBytes(text).value) << text;
}

TEST(JSONBytesUTF16Test, SurrogateAloneIsRefused)
{
    using namespace std::string_view_literals;
    for (const std::string_view text :
        { "\xFE\xFF\0\"\xD8\x3D\0\""sv, "\xFE\xFF\0\"\xDE\0\0\""sv, "\xFE\xFF\0\"\xD8\x3D"sv })
        EXPECT_EQ(decodeBytes(text).error, "invalid UTF-16");
}

TEST(JSONBytesUTF32Test, NumberThatIsNoCharacterIsRefused)
{
    using namespace std::string_view_literals;
    for (const std::string_view text :
        { "\0\0\xFE\xFF\0\0\xD8\0"sv, "\0\0\xFE\xFF\0\x11\0\0"sv, "\0\0\xFE\xFF\xFF\0\0\0"sv })
        EXPECT_EQ(decodeBytes(text).error, "invalid UTF-32");
}

} // namespace
} // namespace telvora::detail
