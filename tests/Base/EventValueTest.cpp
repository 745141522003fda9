#include <Telvora/Base/EventValue.h>

#include <Telvora/Base/EventBuilder.h>

#include <tests/Base/JSONTesting.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace market {

enum class Side { buy, sell };

std::string_view rawValue(Side side)
{
    return side == Side::buy ? "buy" : "sell";
}

enum class Currency { eur };

// A text that is made for each call.
std::string rawValue(Currency)
{
    return "EUR, a text that is longer than a short string";
}

enum class Depth : std::uint64_t { full = std::numeric_limits<std::uint64_t>::max() };
enum Plain { first, second };

} // namespace market

namespace telvora {
namespace {

std::string textOf(EventBuilder& event)
{
    return encode(detail::fieldsOf(event)).value();
}

// The text of the value that the event gets for `source`.
template<typename T> std::string asSet(const T& source)
{
    EventBuilder event;
    event.set("v", source);
    return encode(detail::fieldsOf(event).at("v")).value();
}

TEST(EventValueTest, AnEnumGoesAsItsRawValue)
{
    EXPECT_EQ(asSet(market::Side::sell), R"("sell")");
    EXPECT_EQ(asSet(market::Currency::eur), R"("EUR, a text that is longer than a short string")");
}

TEST(EventValueTest, AnEnumWithoutARawValueGoesAsItsNumber)
{
    EXPECT_EQ(asSet(market::second), "1");
    EXPECT_EQ(asSet(market::Depth::full), "18446744073709551615");
}

TEST(EventValueTest, ASmallIntegerIsANumberAndNoCharacter)
{
    EXPECT_EQ(asSet(std::int8_t { -65 }), "-65");
    EXPECT_EQ(asSet(std::vector<std::uint8_t> { 65 }), "[65]");
}

TEST(EventValueTest, AnOptionalGoesAsWhatItHolds)
{
    EXPECT_EQ(asSet(std::optional(market::Side::buy)), R"("buy")");
    EXPECT_EQ(asSet(std::optional(std::optional(2.5))), "2.5");
    EXPECT_EQ(asSet(std::optional(Dictionary { { "a", 1 } })), R"({"a":1})");
}

TEST(EventValueTest, AnAbsentOptionalLeavesTheKeyOut)
{
    EventBuilder event;
    event.set("a", 1).set("b", std::optional<int>()).set("c", 3);

    EXPECT_EQ(textOf(event), R"({"a":1,"c":3})");
}

TEST(EventValueTest, AnAbsentOptionalKeepsTheValueThatItsKeyHas)
{
    EventBuilder event;
    event.set("a", 1).set("a", std::optional<std::string>());

    EXPECT_EQ(textOf(event), R"({"a":1})");
}

TEST(EventValueTest, ARangeGoesAsAList)
{
    const std::vector<int> numbers { 1, 2, 3 };
    const int plain[] = { 4, 5 };

    EXPECT_EQ(asSet(numbers), "[1,2,3]");
    EXPECT_EQ(asSet(std::span(numbers).first(2)), "[1,2]");
    EXPECT_EQ(asSet(plain), "[4,5]");
    EXPECT_EQ(asSet(std::array { 0.5, 1.5 }), "[0.5,1.5]");
    EXPECT_EQ(asSet(std::vector<bool> { true, false }), "[true,false]");
    EXPECT_EQ(asSet(std::list { market::Side::buy }), R"(["buy"])");
    EXPECT_EQ(asSet(std::set<std::string> { "b", "a" }), R"(["a","b"])");
    EXPECT_EQ(asSet(std::vector<std::string_view>()), "[]");
}

TEST(EventValueTest, RangesMayBeNested)
{
    EXPECT_EQ(asSet(std::vector<std::vector<int>> { { 1 }, {}, { 2, 3 } }), "[[1],[],[2,3]]");
    EXPECT_EQ(asSet(std::vector { Dictionary { { "a", { 1, 2 } } } }), R"([{"a":[1,2]}])");
}

TEST(EventValueTest, AnAbsentOptionalInAListIsNull)
{
    EXPECT_EQ(asSet(std::vector<std::optional<int>> { 1, {}, 3 }), "[1,null,3]");
}

TEST(EventValueTest, ANullPointerToATextIsNullInEachPlace)
{
    const char* absent = nullptr;

    EXPECT_EQ(asSet(std::vector { "a", absent }), R"(["a",null])");
    EXPECT_EQ(asSet(std::optional(absent)), "null");
    EXPECT_EQ(asSet(std::map<std::string, const char*> { { "k", absent } }), R"({"k":null})");
    EXPECT_EQ(toValue(absent), Value(nullptr));
}

TEST(EventValueTest, AMapWithTextKeysGoesAsADictionary)
{
    EXPECT_EQ(asSet(std::map<std::string, int> { { "b", 2 }, { "a", 1 } }), R"({"a":1,"b":2})");
    EXPECT_EQ(
        asSet(std::unordered_map<std::string_view, bool> { { "on", true } }), R"({"on":true})");
    EXPECT_EQ(
        asSet(std::map<const char*, std::vector<int>> { { "list", { 1 } } }), R"({"list":[1]})");
    EXPECT_EQ(asSet(StringDictionary { { "id", "7" } }), R"({"id":"7"})");
}

TEST(EventValueTest, AnAbsentOptionalInAMapLeavesItsKeyOut)
{
    EXPECT_EQ(
        asSet(std::map<std::string, std::optional<int>> { { "a", 1 }, { "b", {} } }), R"({"a":1})");
}

TEST(EventValueTest, WhatGoesIntoAnEventIsACopyInTheEventsOwnMemory)
{
    EventBuilder event;
    {
        const std::vector<std::string> texts { "a text that is too long for a short string" };
        event.set("list", texts).set("map", std::map<std::string, std::string> { { "k", "v" } });
    }

    EXPECT_EQ(textOf(event),
        R"({"list":["a text that is too long for a short string"],"map":{"k":"v"}})");
    const auto& storage = detail::fieldsOf(event).storage();
    EXPECT_EQ(*detail::fieldsOf(event).at("list").storage(), *storage);
    EXPECT_EQ(*detail::fieldsOf(event).at("map").storage(), *storage);
}

TEST(EventValueTest, AContainerInARangeMayBeNestedDeeperThanAnyStack)
{
    std::vector<Dictionary> deep;
    deep.push_back(deepDictionary(100'000));
    EventBuilder event;
    event.set("deep", deep);

    EXPECT_EQ(detail::fieldsOf(event).at("deep").as_array().size(), 1u);
    dispose(std::move(deep.front()));
}

TEST(EventValueTest, ToValueMakesTheSameForADictionaryThatIsWrittenByHand)
{
    const Dictionary event {
        { "side", toValue(market::Side::buy) },
        { "prices", toValue(std::vector { 1.5, 2.5 }) },
        { "note", toValue(std::optional<std::string>()) },
    };

    EXPECT_EQ(encode(event), R"({"side":"buy","prices":[1.5,2.5],"note":null})");
}

} // namespace
} // namespace telvora
