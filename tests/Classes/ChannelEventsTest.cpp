#include <tests/Base/JSONTesting.h>
#include <tests/Classes/SimulatedHost.h>

#include <gmock/gmock.h>

namespace telvora {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

class ChannelEventsTest : public SimulatedHost { };
using ChannelEventsQuirk = ChannelEventsTest;

TEST_F(ChannelEventsTest, TheStampReplacesTheHostsNetworkInAnE2EEvent)
{
    watchEvents();

    manager().enrollE2ETrack({ { "network", "x" }, { "k", 1 } });

    const auto [index, event] = onlyEvent();
    EXPECT_EQ(index, "E2E");
    EXPECT_EQ(event, (Dictionary { { "network", "WIFI" }, { "k", 1 } }));
}

TEST_F(ChannelEventsTest, WithoutReachabilityTheNetworkIsUnknown)
{
    simulated().reachability().setConnection(ScriptedReachability::Value::unavailable);
    watchEvents();

    manager().enrollE2ETrack({});

    EXPECT_EQ(onlyEvent().event, (Dictionary { { "network", "unknown" } }));
}

TEST_F(ChannelEventsTest, TheNetworkIsStampedAtTheCallAndNotAtTheIntake)
{
    watchEvents();
    simulated().setHold(true);

    const Dictionary kept;
    manager().enrollE2ETrack({});
    manager().enrollE2ETrack(kept);
    manager().enrollE2ETrack(EventBuilder());
    manager().enrollSentryTrack({}, true);
    manager().enrollSentryTrack(kept, false);
    manager().enrollSentryTrack(EventBuilder(), false);
    simulated().reachability().setConnection(ScriptedReachability::Value::none);
    simulated().setHold(false);
    simulated().runUntilIdle();

    ASSERT_EQ(seen.size(), 6u);
    for (const auto& one : seen)
        EXPECT_EQ(one.event.at("network"), "WIFI");
}

TEST_F(ChannelEventsTest, EveryKindOfNetworkHasItsText)
{
    using Reached = ScriptedReachability::Value;
    const auto stamp = [&](Reached connection, std::optional<std::string> technology = {}) {
        simulated().reachability().setConnection(connection);
        if (technology)
            simulated().telephony().setRadioTechnologies({ { { "1", *technology } } });
        return std::string(manager().getCurrentNetWorkStatus());
    };

    EXPECT_EQ(stamp(Reached::none), "none");
    EXPECT_EQ(stamp(Reached::wifi), "WIFI");
    EXPECT_EQ(stamp(Reached::cellular), "unknown");
    EXPECT_EQ(stamp(Reached::cellular, "CTRadioAccessTechnologyEdge"), "2G");
    EXPECT_EQ(stamp(Reached::cellular, "CTRadioAccessTechnologyWCDMA"), "3G");
    EXPECT_EQ(stamp(Reached::cellular, "CTRadioAccessTechnologyLTE"), "4G");
    EXPECT_EQ(stamp(Reached::cellular, "CTRadioAccessTechnologyNR"), "5G");
}

TEST_F(ChannelEventsQuirk, AReportAndAChannelNameTheNetworkDifferently)
{
    using Reached = ScriptedReachability::Value;

    EXPECT_EQ(manager().getCurrentNetWorkStatus(), "WIFI");
    EXPECT_EQ(TrackerDataExcavator::networkStatus(), "WiFi");

    simulated().reachability().setConnection(Reached::none);
    EXPECT_EQ(manager().getCurrentNetWorkStatus(), "none");
    EXPECT_EQ(TrackerDataExcavator::networkStatus(), "No Connection");

    simulated().reachability().setConnection(Reached::cellular);
    EXPECT_EQ(manager().getCurrentNetWorkStatus(), "unknown");
    EXPECT_EQ(TrackerDataExcavator::networkStatus(), "Cellular");
}

TEST_F(ChannelEventsTest, AnEventIsOneBlockOnTheQueue)
{
    simulated().setHold(true);

    manager().enrollE2ETrack({});
    manager().enrollMPTrack({});
    manager().enrollSentryTrack({}, true);
    manager().wrapAppendTracker({ { "t", "x" } });

    EXPECT_EQ(simulated().dispatch().readyBlockCount(), 4u);
    EXPECT_EQ(simulated().dispatch().readyBarrierCount(), 4u);
    EXPECT_EQ(simulated().step(100), 4u);
}

TEST_F(ChannelEventsTest, EventsOfAllEntryPointsKeepTheOrderOfTheirCalls)
{
    watchEvents();

    manager().enrollE2ETrack({ { "n", 0 } });
    manager().enrollMPTrack({ { "n", 1 } });
    manager().appendTracker({ { "n", 2 } }, "E2E");
    manager().enrollSentryTrack({ { "n", 3 } }, false);

    simulated().runUntilIdle();
    std::vector<std::int64_t> order;
    for (const Seen& one : seen)
        order.push_back(one.event.at("n").as_int64());
    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3));
}

TEST_F(ChannelEventsTest, ASentryEventIsStampedAndReachesTheChannelThatByAPMNames)
{
    watchEvents();

    manager().enrollSentryTrack({ { "k", 1 } }, true);
    manager().enrollSentryTrack({ { "k", 2 } }, false);

    simulated().runUntilIdle();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].index, "APM");
    EXPECT_EQ(seen[0].event, (Dictionary { { "k", 1 }, { "network", "WIFI" } }));
    EXPECT_EQ(seen[1].index, "Sentry");
    EXPECT_EQ(seen[1].event, (Dictionary { { "k", 2 }, { "network", "WIFI" } }));
}

TEST_F(ChannelEventsTest, AnEventForARegisteredChannelIsInItsBatch)
{
    const auto apm = addChannel("APM");
    const auto sentry = addChannel("Sentry");

    manager().enrollSentryTrack({ { "k", 1 } }, true);
    manager().enrollSentryTrack({ { "k", 2 } }, false);

    simulated().runUntilIdle();
    ASSERT_EQ(apm->apiDatas().size(), 1u);
    ASSERT_EQ(sentry->apiDatas().size(), 1u);
    EXPECT_EQ(apm->apiDatas()[0].at("k"), 1);
    EXPECT_EQ(sentry->apiDatas()[0].at("k"), 2);
}

TEST_F(ChannelEventsTest, AStampReplacesAValueOfAnyDepth)
{
    Value deep = deepArray(100'000);
    watchEvents();

    manager().enrollE2ETrack({ { "network", std::move(deep) } });

    EXPECT_EQ(onlyEvent().event, (Dictionary { { "network", "WIFI" } }));
}

TEST_F(ChannelEventsQuirk, AnMPEventIsNotStamped)
{
    watchEvents();

    manager().enrollMPTrack({ { "network", "x" } });
    manager().enrollMPTrack({ { "k", 1 } });

    simulated().runUntilIdle();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].index, "MP");
    EXPECT_EQ(seen[0].event, (Dictionary { { "network", "x" } }));
    EXPECT_EQ(seen[1].event, (Dictionary { { "k", 1 } }));
}

} // namespace
} // namespace telvora
