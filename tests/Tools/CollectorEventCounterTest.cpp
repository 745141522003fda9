#include <tools/collector/EventCounter.h>

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>
#include <string_view>

namespace telvora::collector {
namespace {

constexpr std::string_view body
    = R"({"data":7,"x":{"data":[{},{}]},"a":["data",{}],"s":"\"data\":[{","dat":[{}],)"
      R"("data" : [ {"data":[{},{}],"t":"}]\\"} , {"u":"[{\""}, {} ],"data-list":[{}]})";

TEST(EventCounterTest, CountsTheObjectsOfOneRootMember)
{
    EventCounter counter("data");
    counter.feed(body);

    EXPECT_EQ(counter.count(), 3U);
}

TEST(EventCounterTest, CountsTheSameHoweverTheBodyIsSplit)
{
    for (std::size_t size = 1; size < body.size(); ++size) {
        EventCounter counter("data");
        for (std::size_t at = 0; at < body.size(); at += size)
            counter.feed(body.substr(at, size));

        EXPECT_EQ(counter.count(), 3U) << "pieces of " << size;
    }
}

TEST(EventCounterTest, StartsAfreshWithTheSameKey)
{
    EventCounter counter("data");
    counter.feed(body.substr(0, body.size() - 20));
    counter.restart();
    counter.feed(R"({"data":[{}]})");

    EXPECT_EQ(counter.count(), 1U);
}

TEST(EventCounterTest, CountsLongBodiesTheSameInOnePieceAndByteByByte)
{
    constexpr std::string_view pieces[] { R"({"a":{"b":[{}]}})", R"({"s":"}]"})",
        R"({"t":"\\\"{["})", R"({"n":12345678901234567890})",
        R"({"k":"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"})", R"({"u":"\\"})", "{}" };
    std::mt19937 random(3);

    for (int round = 0; round < 300; ++round) {
        const std::size_t events = random() % 60;
        std::string text = R"({"os":"ios","data":[)";
        for (std::size_t i = 0; i < events; ++i)
            text += (i > 0 ? "," : "") + std::string(pieces[random() % std::size(pieces)]);
        text
            += R"(],"data2":[{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{}]})";
        EventCounter whole("data");
        EventCounter single("data");

        whole.feed(text);
        for (const char c : text)
            single.feed({ &c, 1 });

        ASSERT_EQ(whole.count(), events) << text;
        ASSERT_EQ(single.count(), events) << text;
    }
}

TEST(EventCounterTest, SurvivesTextThatIsNotJSON)
{
    EventCounter counter("data");
    counter.feed(R"(]]]}}}"data":[{{{{)");

    EXPECT_EQ(counter.count(), 0U);
}

} // namespace
} // namespace telvora::collector
