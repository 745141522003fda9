#include <Telvora/Classes/Utils/CommonData.h>

#include <tests/Base/JSONTesting.h>

#include <gtest/gtest.h>

#include <limits>

namespace telvora::detail {
namespace {

std::string textAround(Dictionary commonDatas, std::string dataListKey)
{
    const EncodedCommonData encoded({ std::move(commonDatas), std::move(dataListKey) });
    return encoded.head + "EVENTS" + encoded.tail;
}

TEST(EncodedCommonDataTest, WithoutFieldsTheListIsTheOnlyMember)
{
    EXPECT_EQ(textAround({}, "data-list"), R"({"data-list":[EVENTS]})");
}

TEST(EncodedCommonDataTest, TheListStandsBehindTheFields)
{
    EXPECT_EQ(textAround({ { "b", 1 }, { "a", { nullptr } } }, "data"),
        R"({"b":1,"a":[null],"data":[EVENTS]})");
}

TEST(EncodedCommonDataTest, AFieldWithTheListsKeyGivesItsPlaceToTheList)
{
    EXPECT_EQ(
        textAround({ { "data", { 1, 2 } }, { "b", 1 } }, "data"), R"({"data":[EVENTS],"b":1})");
    EXPECT_EQ(textAround({ { "a", 1 }, { "data", "x" }, { "b", 1 } }, "data"),
        R"({"a":1,"data":[EVENTS],"b":1})");
}

TEST(EncodedCommonDataTest, AFieldThatGivesWayMayHoldANumberThatIsNotFinite)
{
    EXPECT_EQ(textAround({ { "data", std::numeric_limits<double>::infinity() } }, "data"),
        R"({"data":[EVENTS]})");
}

TEST(EncodedCommonDataTest, TheListsKeyIsWrittenLikeAnyOther)
{
    EXPECT_EQ(textAround({}, "a\"\xFF"), "{\"a\\\"\xEF\xBF\xBD\":[EVENTS]}");
}

TEST(EncodedCommonDataTest, ANumberThatIsNotFiniteLeavesTheBracketsAlone)
{
    const EncodedCommonData encoded(
        { { { "a", 1 }, { "n", std::numeric_limits<double>::quiet_NaN() } }, "data" });

    EXPECT_FALSE(encoded.isEncodable);
    EXPECT_EQ(encoded.head + encoded.tail, "[]");
}

TEST(EncodedCommonDataTest, FieldsMayBeNestedDeeperThanAnyStack)
{
    const EncodedCommonData encoded({ deepDictionary(100'000), "data" });

    EXPECT_TRUE(encoded.isEncodable);
    EXPECT_TRUE(encoded.head.ends_with(R"("data":[)"));
}

} // namespace
} // namespace telvora::detail
