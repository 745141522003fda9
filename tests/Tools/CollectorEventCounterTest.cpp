#include <tools/collector/EventCounter.h>

#include <gtest/gtest.h>

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

TEST(EventCounterTest, CountsTheSameHoweverTheBodyIsCut)
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

TEST(EventCounterTest, BearsTextThatIsNoJSON)
{
    EventCounter counter("data");
    counter.feed(R"(]]]}}}"data":[{{{{)");

    EXPECT_EQ(counter.count(), 0U);
}

} // namespace
} // namespace telvora::collector
