#include <Telvora/Base/EventBuilder.h>

#include <tests/Classes/SimulatedHost.h>

#include <limits>

namespace telvora {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

class BuiltEventTest : public SimulatedHost {
protected:
    static EventBuilder built(std::int64_t number)
    {
        EventBuilder event;
        event.set("number", number).set("text", "long enough to need memory of its own");
        return event;
    }

    static Dictionary plain(std::int64_t number)
    {
        return { { "number", number }, { "text", "long enough to need memory of its own" } };
    }
};

TEST_F(BuiltEventTest, ABuiltEventIsSentLikeAnyOther)
{
    for (const char* index : { "E2E", "MP", "Sentry", "APM", "own" })
        addChannel(index, 1);
    manager().appendTracker(built(1), "own");
    manager().enrollMPTrack(built(2));
    manager().enrollE2ETrack(built(3));
    manager().enrollSentryTrack(built(4), false);
    manager().enrollSentryTrack(built(5), true);
    simulated().runUntilIdle();

    ASSERT_EQ(requestCount(), 5u);
    for (std::size_t request = 0; request < 5; ++request) {
        Dictionary expected = plain(static_cast<std::int64_t>(request) + 1);
        if (request >= 2)
            expected["network"] = manager().getCurrentNetWorkStatus();
        EXPECT_EQ(body(request).at("data-list").as_array(), Array { expected });
    }
}

TEST_F(BuiltEventTest, TheTriggerMayKeepABuiltEvent)
{
    addChannel("APM", 2);
    watchEvents();
    manager().appendTracker(built(1), "APM");
    manager().appendTracker(built(2), "unknown");
    simulated().runUntilIdle();

    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].event, plain(1));
    EXPECT_EQ(seen[1].event, plain(2));
}

TEST_F(BuiltEventTest, ABuiltEventThatIsKeptWholeIsShownAsItWas)
{
    const auto config = addChannel("APM");
    EventBuilder event;
    event.set("n", infinity).set("text", "\xFF");
    manager().appendTracker(std::move(event), "APM");
    simulated().runUntilIdle();

    EXPECT_EQ(config->apiDatas(), (Array { { { "n", infinity }, { "text", "\xFF" } } }));
}

TEST_F(BuiltEventTest, AnEmptyBuilderIsAnEmptyEvent)
{
    addChannel("APM", 1);
    manager().appendTracker(EventBuilder(), "APM");
    simulated().runUntilIdle();

    EXPECT_EQ(simulated().httpClient().requests().at(0).body, R"({"data-list":[{}]})");
}

} // namespace
} // namespace telvora
