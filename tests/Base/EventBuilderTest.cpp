#include <Telvora/Base/EventBuilder.h>

#include <tests/Base/JSONTesting.h>

#include <gtest/gtest.h>

#include <string>

namespace telvora {
namespace {

// A copy in usual memory.
Dictionary builtBy(EventBuilder& event)
{
    return copy(detail::fieldsOf(event));
}

TEST(EventBuilderTest, HasTheFieldsInTheOrderInWhichTheyWereSet)
{
    EventBuilder event;
    event.set("b", 1).set("a", 2.5).set("text", "long enough to need memory of its own");
    event.set("flag", true).set("none", nullptr).set("string", std::string("owned"));

    EXPECT_EQ(encode(builtBy(event)),
        R"({"b":1,"a":2.5,"text":"long enough to need memory of its own",)"
        R"("flag":true,"none":null,"string":"owned"})");
}

TEST(EventBuilderTest, AFieldThatIsSetAgainKeepsItsPlace)
{
    EventBuilder event;
    event.set("a", 1).set("b", 2).set("a", "new");

    EXPECT_EQ(encode(builtBy(event)), R"({"a":"new","b":2})");
}

TEST(EventBuilderTest, ANullPointerToATextIsNull)
{
    const char* absent = nullptr;
    char letters[] = "text";
    char* present = letters;
    EventBuilder event;
    event.set("a", 1).set("a", absent).set("b", present).set("c", static_cast<char*>(nullptr));

    EXPECT_EQ(encode(builtBy(event)), R"({"a":null,"b":"text","c":null})");
}

TEST(EventBuilderTest, ContainersAreCopied)
{
    Dictionary inner { { "list", { 1, { { "x", "y" } } } } };
    const Array list { "a text that is not short", nullptr };
    EventBuilder event;
    event.set("inner", inner).set("list", list).set("value", Value("text"));
    inner["list"] = "changed";

    EXPECT_EQ(builtBy(event),
        (Dictionary { { "inner", { { "list", { 1, { { "x", "y" } } } } } }, { "list", list },
            { "value", "text" } }));
}

TEST(EventBuilderTest, AContainerMayBeNestedDeeperThanAnyStack)
{
    Dictionary deep = deepDictionary(100'000);
    EventBuilder event;
    event.set("deep", deep).set("deep", deep).set("after", 1);

    EXPECT_EQ(detail::fieldsOf(event).at("after"), 1);
    dispose(std::move(deep));
}

TEST(EventBuilderTest, MoreAndLongerFieldsThanForeseenTakeMoreMemory)
{
    EventBuilder event(1);
    for (int number = 0; number < 500; ++number)
        event.set(
            "key" + std::to_string(number), std::string(static_cast<std::size_t>(number), 'x'));

    const Dictionary built = builtBy(event);
    ASSERT_EQ(built.size(), 500u);
    for (int number = 0; number < 500; ++number)
        EXPECT_EQ(built.at("key" + std::to_string(number)).as_string().size(),
            static_cast<std::size_t>(number));
}

TEST(EventBuilderTest, RandomEventsAreCopiedAsTheyAre)
{
    RandomJSON random(3);
    for (int round = 0; round < 300; ++round) {
        const Dictionary given = random.dictionary(3);
        EventBuilder event(given);
        EXPECT_EQ(builtBy(event), given);
        EXPECT_EQ(encode(builtBy(event)), encode(given));
    }
}

TEST(EventBuilderTest, AnEventIsOneBlockThatGlibcDoesNotCallLarge)
{
    constexpr std::size_t large = 1024;
    Dictionary given;
    for (int field = 0; field < 5; ++field) {
        given["text" + std::to_string(field)] = "a text of some length";
        given["number" + std::to_string(field)] = field;
    }
    EventBuilder set(10);
    for (const auto& field : given)
        set.set(field.key(), field.value());
    EventBuilder copied(given);
    const std::size_t before = detail::bytesOf(set);

    // As the queue does with some events.
    set.set("network", "WIFI");
    copied.set("network", "WIFI");

    EXPECT_EQ(detail::bytesOf(set), before);
    EXPECT_LT(detail::bytesOf(set), large);
    EXPECT_LT(detail::bytesOf(copied), large);
}

TEST(EventBuilderTest, AnEventOfManyFieldsHasTwoBlocksThatGlibcDoesNotCallLarge)
{
    constexpr std::size_t usual = 1000;
    const auto bytesFor = [](std::size_t fields) {
        EventBuilder event(fields);
        for (std::size_t field = 0; field < fields; ++field)
            event.set("key " + std::to_string(field), field);
        event.set("network", "WIFI");
        return detail::bytesOf(event);
    };

    EXPECT_EQ(bytesFor(17), usual);
    EXPECT_EQ(bytesFor(18), 2 * usual);
    EXPECT_EQ(bytesFor(19), 2 * usual);
}

TEST(EventBuilderTest, AnEventThatWasHandedOverLeavesAnEmptyBuilder)
{
    EventBuilder event;
    event.set("a", 1);
    EventBuilder taken = std::move(event);
    event.set("b", 2);

    EXPECT_EQ(builtBy(taken), (Dictionary { { "a", 1 } }));
    EXPECT_EQ(builtBy(event), (Dictionary { { "b", 2 } }));
}

} // namespace
} // namespace telvora
