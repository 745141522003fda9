#include <Telvora/Base/Dictionary.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace telvora {
namespace {

// U+FFFD.
const std::string bad = "\xEF\xBF\xBD";

struct Row {
    std::string_view text;
    std::string repaired;
};

TEST(UTF8RepairTest, EachMaximalPartOfASequenceBecomesOneReplacement)
{
    using namespace std::string_view_literals;
    const Row table[] {
        { "", "" },
        { "plain", "plain" },
        // Well-formed characters at both ends of each range.
        { "\x7F", "\x7F" },
        { "\xC2\x80", "\xC2\x80" },
        { "\xDF\xBF", "\xDF\xBF" },
        { "\xE0\xA0\x80", "\xE0\xA0\x80" },
        { "\xED\x9F\xBF", "\xED\x9F\xBF" },
        { "\xEE\x80\x80", "\xEE\x80\x80" },
        { "\xEF\xBF\xBF", "\xEF\xBF\xBF" },
        { "\xF0\x90\x80\x80", "\xF0\x90\x80\x80" },
        { "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF" },
        // Bytes that UTF-8 never contains.
        { "\xC0\x80", bad + bad },
        { "\xC1\xBF", bad + bad },
        { "\xF5\x80\x80\x80", bad + bad + bad + bad },
        { "\xFE\xFF", bad + bad },
        // A continuation byte without a first byte.
        { "\x80", bad },
        { "a\xBFz", "a" + bad + "z" },
        // Overlong, a surrogate, beyond the last character: the second byte is not allowed.
        { "\xE0\x80\x80", bad + bad + bad },
        { "\xE0\x9F\xBF", bad + bad + bad },
        { "\xED\xA0\x80", bad + bad + bad },
        { "\xED\xBF\xBF", bad + bad + bad },
        { "\xF0\x80\x80\x80", bad + bad + bad + bad },
        { "\xF0\x8F\xBF\xBF", bad + bad + bad + bad },
        { "\xF4\x90\x80\x80", bad + bad + bad + bad },
        // Cut off: the bytes that could begin a character are one part.
        { "\xC3", bad },
        { "\xC3z", bad + "z" },
        { "\xE2\x82", bad },
        { "\xE2\x82z", bad + "z" },
        { "\xF0\x9F\x98", bad },
        { "\xF0\x9F\x98z", bad + "z" },
        { "\xF0\x9Fz", bad + "z" },
        { "\xE2\xC3\xA9", bad + "\xC3\xA9" },
        // The example of the standard's table 3-8.
        { "\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64",
            "a" + bad + bad + bad + "b" + bad + "c" + bad + bad + "d" },
    };
    for (const Row& row : table)
        EXPECT_EQ(repairedUTF8(row.text), row.repaired);
}

TEST(UTF8RepairTest, TheEncoderRepairsInTheSameWay)
{
    std::mt19937_64 random(1);
    for (int round = 0; round < 20'000; ++round) {
        std::string text;
        for (std::uint64_t left = random() % 12; left > 0; --left)
            text += static_cast<char>(0x80 | random());
        ASSERT_EQ(encode(Value(std::string_view(text))), '"' + repairedUTF8(text) + '"');
    }
}

TEST(UTF8RepairTest, RepairedTextIsNotChangedAgain)
{
    std::mt19937_64 random(2);
    for (int round = 0; round < 20'000; ++round) {
        std::string text;
        for (std::uint64_t left = random() % 24; left > 0; --left)
            text += static_cast<char>(random());
        const std::string repaired = repairedUTF8(text);
        ASSERT_EQ(repairedUTF8(repaired), repaired);
        ASSERT_TRUE(decode(*encode(Value(std::string_view(text)))).value);
    }
}

} // namespace
} // namespace telvora
