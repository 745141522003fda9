#include <Telvora/LoggableKit/Classes/Extension/Dictionary+Extension.h>

#include <gtest/gtest.h>

#include <limits>

namespace telvora {
namespace {

const Dictionary unencodable { { "a", std::numeric_limits<double>::infinity() } };

TEST(DictionaryExtensionTest, TextIsIndentedUnlessToldOtherwise)
{
    const Dictionary dictionary { { "a", { 1, 2 } } };

    EXPECT_EQ(toJSONString(dictionary), "{\n  \"a\" : [\n    1,\n    2\n  ]\n}");
    EXPECT_EQ(toJSONString(dictionary, true), toJSONString(dictionary));
    EXPECT_EQ(toJSONString(dictionary, false), R"({"a":[1,2]})");
}

TEST(DictionaryExtensionTest, BytesFollowTheirOption)
{
    const Dictionary dictionary { { "a", 1 } };

    EXPECT_EQ(toJSONData(dictionary, EncodeStyle::compact), R"({"a":1})");
    EXPECT_EQ(toJSONData(dictionary, EncodeStyle::pretty), "{\n  \"a\" : 1\n}");
}

TEST(DictionaryExtensionTest, ADictionaryThatCannotBeEncodedIsAbsent)
{
    EXPECT_EQ(toJSONString(unencodable), std::nullopt);
    EXPECT_EQ(toJSONString(unencodable, false), std::nullopt);
    EXPECT_EQ(toJSONData(unencodable, EncodeStyle::compact), std::nullopt);
}

} // namespace
} // namespace telvora
