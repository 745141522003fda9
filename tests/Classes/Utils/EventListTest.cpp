#include <Telvora/Classes/Utils/EventList.h>

#include <tests/Base/JSONTesting.h>

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <limits>
#include <random>
#include <vector>

namespace telvora::detail {
namespace {

class EventListTest : public testing::Test {
protected:
    static constexpr double infinity = std::numeric_limits<double>::infinity();

    // Whether the list keeps the event as a tree.
    bool append(Dictionary event)
    {
        Value value(std::move(event));
        const EncodedEvent encoded = encodeEvent(value, m_encoder);
        const bool isWhole = list.append(std::move(value), encoded).whole != nullptr;
        dispose(std::move(value));
        return isWhole;
    }

    std::string text() const
    {
        std::string text;
        list.copyTextTo(text);
        return text;
    }

    EventList list;

private:
    Encoder m_encoder { EncodeStyle::compact, NonFinite::refuse };
};

using EventListQuirk = EventListTest;

TEST_F(EventListTest, AnEmptyListHasNoText)
{
    EXPECT_EQ(text(), "");
    EXPECT_EQ(list.decoded(), Array());
}

TEST_F(EventListTest, TheTextIsThatOfTheEventsWithCommasBetween)
{
    append({ { "b", 1 }, { "a", 2.0 } });
    append({});
    append({ { "c", { nullptr, true } } });

    EXPECT_EQ(text(), R"({"b":1,"a":2.0},{},{"c":[null,true]})");
    EXPECT_EQ(list.bytes(), text().size());
    EXPECT_EQ(list.size(), 3u);
}

TEST_F(EventListTest, RandomEventsAreReadBackInTheirOrder)
{
    RandomJSON random(7);
    Array appended;
    for (int count = 0; count < 2000; ++count) {
        const Dictionary event = random.dictionary(3);
        appended.push_back(event);
        EXPECT_FALSE(append(event));
    }

    EXPECT_EQ(list.decoded(), appended);
    EXPECT_EQ("[" + text() + "]", encode(Value(appended)));
}

TEST_F(EventListTest, AnEventMayBeLongerThanAnyPiece)
{
    const std::string letters(1'000'000, 'x');
    append({ { "short", 1 } });
    append({ { "long", letters } });
    append({ { "short", 2 } });

    EXPECT_EQ(text(), R"({"short":1},{"long":")" + letters + R"("},{"short":2})");
}

TEST_F(EventListTest, AnEventWithTextThatIsNotUTF8IsReadBackAsItWas)
{
    const Dictionary broken { { "text", "a\xFF" } };
    EXPECT_FALSE(append({ { "n", 1 } }));
    EXPECT_TRUE(append(broken));
    EXPECT_FALSE(append({ { "n", 3 } }));

    EXPECT_EQ(list.decoded(), (Array { { { "n", 1 } }, broken, { { "n", 3 } } }));
    EXPECT_EQ(text(), "{\"n\":1},{\"text\":\"a\xEF\xBF\xBD\"},{\"n\":3}");
    EXPECT_TRUE(list.isEncodable());
}

TEST_F(EventListTest, KeysThatAreRepairedAlikeAreBothReadBack)
{
    const Dictionary twins { { "\xFE", 1 }, { "\xFF", 2 } };
    EXPECT_TRUE(append(twins));

    EXPECT_EQ(list.decoded(), Array { twins });
}

TEST_F(EventListTest, AnEventWithANumberThatIsNotFiniteIsReadBackAndNotEncodable)
{
    append({ { "n", 1 } });
    EXPECT_TRUE(list.isEncodable());
    EXPECT_TRUE(append({ { "n", { infinity } } }));
    EXPECT_TRUE(append({ { "n", std::nan("") } }));
    append({ { "n", 4 } });

    EXPECT_FALSE(list.isEncodable());
    const Array events = list.decoded();
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[1].at("n").at(0), infinity);
    EXPECT_TRUE(std::isnan(events[2].at("n").as_double()));
    EXPECT_EQ(events[3].at("n"), 4);
}

TEST_F(EventListTest, AnEventNestedDeeperThanAnyStackIsReadBack)
{
    append({ { "n", 1 } });
    EXPECT_TRUE(append(deepDictionary(100'000)));
    append({ { "n", 3 } });

    Array events = list.decoded();
    EXPECT_EQ(events.at(2).at("n"), 3);
    const Value* inner = &events.at(1);
    std::size_t levels = 0;
    for (; inner->as_object().contains("in"); inner = &inner->at("in"))
        ++levels;
    EXPECT_EQ(levels, 100'000u);
    dispose(std::move(events));
}

TEST_F(EventListTest, AnEventThatIsNestedAsOthersAreIsKeptAsTextAlone)
{
    EXPECT_FALSE(append(deepDictionary(200)));
    EXPECT_EQ(list.decoded().size(), 1u);
}

TEST_F(EventListTest, ACopyDoesNotSeeWhatIsAppendedLater)
{
    append({ { "n", 1 } });
    const EventList copied = list;
    append({ { "n", 2 } });
    append({ { "n", "\xFF" } });

    EXPECT_EQ(copied.decoded(), (Array { { { "n", 1 } } }));
    EXPECT_EQ(copied.wholeEvents().size(), 0u);
    EXPECT_EQ(list.size(), 3u);
}

TEST_F(EventListTest, FirstAndLastEventsAreRemovedOfARandomList)
{
    RandomJSON random(11);
    struct Appended {
        Value event;
        std::size_t length;
        std::uint64_t arrival;
    };
    std::deque<Appended> expected;
    std::mt19937 choice(3);
    const auto lengthOf = [&](std::size_t count, auto first) {
        std::size_t length = count > 0 ? count - 1 : 0;
        for (std::size_t place = 0; place < count; ++place)
            length += (first + static_cast<std::ptrdiff_t>(place))->length;
        return length;
    };
    for (int step = 0; step < 5000; ++step) {
        const std::size_t removed = std::min<std::size_t>(choice() % 5, expected.size());
        switch (choice() % 8) {
        case 0:
            list.removeFirst(removed, lengthOf(removed, expected.begin()));
            expected.erase(
                expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(removed));
            break;
        case 1: {
            const std::size_t kept = expected.size() - removed;
            list.keepFirst(kept, lengthOf(kept, expected.begin()));
            expected.resize(kept);
            break;
        }
        default: {
            Dictionary event = random.dictionary(3);
            if (choice() % 4 == 0)
                event["broken"] = "a,\"\xFF\\";
            if (choice() % 50 == 0)
                event["long"] = std::string(3000, ',');
            const std::size_t before = list.bytes() + (expected.empty() ? 0 : 1);
            append(event);
            expected.push_back({ std::move(event), list.bytes() - before, nextArrival() - 1 });
        }
        }
        if (!expected.empty()) {
            ASSERT_EQ(list.firstLength(), expected.front().length);
        }
        if (step % 50 != 0)
            continue;
        Array events;
        std::vector<std::size_t> lengths;
        std::vector<std::uint64_t> arrivals;
        for (const Appended& appended : expected) {
            events.push_back(appended.event);
            lengths.push_back(appended.length);
            arrivals.push_back(appended.arrival);
        }
        ASSERT_EQ(list.decoded(), events);
        std::vector<std::size_t> listed;
        list.forEachLength([&](std::size_t length) {
            listed.push_back(length);
            return true;
        });
        ASSERT_EQ(listed, lengths);
        std::vector<std::uint64_t> listedArrivals;
        list.arrivals().forEach([&](std::uint64_t arrival) { listedArrivals.push_back(arrival); });
        ASSERT_EQ(listedArrivals, arrivals);
        ASSERT_EQ("[" + text() + "]", encode(Value(events)));
    }
}

TEST_F(EventListTest, ACopyDoesNotSeeWhatIsRemovedLater)
{
    for (int number = 0; number < 1000; ++number)
        append({ { "n", number } });
    const EventList copied = list;
    const std::string before = text();

    list.removeFirst(2, before.find(R"(,{"n":2})"));
    list.keepFirst(1, list.firstLength());
    for (int number = 0; number < 1000; ++number)
        append({ { "other", number } });

    std::string after;
    copied.copyTextTo(after);
    EXPECT_EQ(after, before);
    EXPECT_EQ(copied.size(), 1000u);
    EXPECT_EQ(list.decoded().at(0).at("n"), 2);
    EXPECT_EQ(list.decoded().at(1).at("other"), 0);
}

TEST_F(EventListTest, AListIsEncodableAgainOnceTheNumberIsRemovedThatIsNotFinite)
{
    for (const bool atTheEnd : { false, true }) {
        list = {};
        append({ { "n", atTheEnd ? 0 : infinity } });
        append({ { "n", 1 } });
        append({ { "n", atTheEnd ? infinity : 0 } });
        ASSERT_FALSE(list.isEncodable());
        if (atTheEnd)
            list.keepFirst(2, text().rfind(",null"));
        else
            list.removeFirst(1, list.firstLength());
        EXPECT_TRUE(list.isEncodable());
        EXPECT_TRUE(list.wholeEvents().empty());
    }
}

// A host sees the difference only if it asks for the kind of the number.
TEST_F(EventListQuirk, AnUnsignedNumberIsReadBackAsASignedOneThatIsEqual)
{
    const Dictionary event { { "n", std::uint64_t { 5 } } };
    append(event);

    EXPECT_EQ(list.decoded(), Array { event });
    EXPECT_TRUE(list.decoded().at(0).at("n").is_int64());
}

} // namespace
} // namespace telvora::detail
