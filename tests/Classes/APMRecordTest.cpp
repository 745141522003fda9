#include <tests/Base/JSONTesting.h>
#include <tests/Classes/SimulatedHost.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Classes/Model/CommonTrackerModel.h>

#include <boost/describe/class.hpp>
#include <gmock/gmock.h>

namespace telvora {
namespace {

using testing::ElementsAre;

class APMRecordTest : public SimulatedHost {
protected:
    APMRecordTest() { watchEvents(); }

    static TrackerMeta makeRecord() { return TrackerMeta(TrackerMeta::T("CUSTOM")); }

    // The event that the report of `record` becomes.
    Dictionary report(TrackerMeta record)
    {
        seen.clear();
        manager().enrollAPMReport(std::move(record));
        const auto [index, event] = onlyEvent();
        EXPECT_EQ(index, "APM");
        return event;
    }
};
using APMRecordQuirk = APMRecordTest;

TEST_F(APMRecordTest, AbsentPageNetworkAndParametersAreFilledIn)
{
    showPage("Live", { { "id", "7" } });

    const Dictionary event = report(makeRecord());

    EXPECT_EQ(event.at("p"), "Live");
    EXPECT_EQ(event.at("wifi"), true);
    EXPECT_EQ(event.at("pageExpend"), (Value { { "id", "7" } }));
}

TEST_F(APMRecordTest, ThePageIsNamedByItsClassAndNotByItsScene)
{
    showPage("Live");
    simulated().screens().setClassName("Live", "LivePage");
    simulated().screens().setSceneName("Live", "App.LivePage");

    EXPECT_EQ(report(makeRecord()).at("p"), "LivePage");
}

TEST_F(APMRecordTest, PresentPageNetworkAndParametersAreKept)
{
    showPage("Live", { { "id", "7" } });
    TrackerMeta record = makeRecord();
    record.p = "mine";
    record.wifi = false;
    record.pageExpend = StringDictionary();

    const Dictionary event = report(std::move(record));

    EXPECT_EQ(event.at("p"), "mine");
    EXPECT_EQ(event.at("wifi"), false);
    EXPECT_EQ(event.at("pageExpend"), Dictionary());
}

TEST_F(APMRecordTest, WithoutAPageNameAndParametersAreNull)
{
    const Dictionary event = report(makeRecord());

    EXPECT_EQ(event.at("p"), nullptr);
    EXPECT_EQ(event.at("pageExpend"), nullptr);
}

TEST_F(APMRecordTest, APageWithoutParametersLeavesPageExpendNull)
{
    showPage("Live");

    EXPECT_EQ(report(makeRecord()).at("pageExpend"), nullptr);
}

TEST_F(APMRecordQuirk, APageWhoseScreenIsDestroyedHasNoNameButItsParameters)
{
    showPage("Live", { { "id", "7" } });
    simulated().screens().release("Live");

    const Dictionary event = report(makeRecord());

    EXPECT_EQ(event.at("p"), nullptr);
    EXPECT_EQ(event.at("pageExpend"), (Value { { "id", "7" } }));
}

TEST_F(APMRecordTest, WifiIsTrueOnWiFiOnlyAndFalseWhereTheNetworkIsUnknown)
{
    using Reached = ScriptedReachability::Value;
    const std::vector<std::pair<Reached, bool>> table {
        { Reached::wifi, true },
        { Reached::cellular, false },
        { Reached::none, false },
        { Reached::unavailable, false },
    };
    for (const auto& [connection, isOnWiFi] : table) {
        simulated().reachability().setConnection(connection);
        EXPECT_EQ(report(makeRecord()).at("wifi"), isOnWiFi);
    }
}

TEST_F(APMRecordTest, TheBatteryLevelStaysNull)
{
    EXPECT_EQ(report(makeRecord()).at("batr"), nullptr);

    TrackerMeta record = makeRecord();
    record.batr = 80;
    EXPECT_EQ(report(std::move(record)).at("batr"), 80);
}

TEST_F(APMRecordTest, ARecordThatTheHostKeepsIsCompletedAndKeepsItsPage)
{
    showPage("First");
    TrackerMeta record = makeRecord();
    manager().enrollAPMReport(record);
    showPage("Second");

    manager().enrollAPMReport(record);

    simulated().runUntilIdle();
    EXPECT_EQ(record.p, "First");
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[1].event.at("p"), "First");
}

TEST_F(APMRecordTest, ALogLineShowsTheReportWithItsNulls)
{
    const auto log = listen();

    report(makeRecord());

    ASSERT_EQ(log->lines.size(), 1u);
    EXPECT_EQ(log->levels.front(), 3u);
    EXPECT_THAT(log->lines.front(),
        testing::StartsWith(
            R"([TrackerData] Telvora report data: {"t":"CUSTOM","d":1700000000.0,"f":null,)"));
}

TEST_F(APMRecordTest, AScreenWhoseNameThrowsIsReportedWithoutAName)
{
    class Throwing final : public UIViewController {
        std::string className() const override { throw std::runtime_error("no name"); }
        std::string sceneName() const override { return ""; }
    };
    const auto screen = std::make_shared<Throwing>();
    TrackerDataExcavator::setTopViewControllerInfo(ViewControllerInfo { screen });
    const auto exceptions = hostExceptionCount();

    EXPECT_EQ(report(makeRecord()).at("p"), nullptr);
    EXPECT_EQ(hostExceptionCount(), exceptions + 1);
}

TEST_F(APMRecordTest, ExtraOfAnyDepthIsReported)
{
    Value deep = deepArray(100'000);
    TrackerManager::setTriggerCallback({});
    TrackerMeta record = makeRecord();
    record.extra.emplace()["deep"] = std::move(deep);

    manager().enrollAPMReport(std::move(record));
    simulated().runUntilIdle();
}

TEST_F(APMRecordTest, ARecordOfTheLibraryTakesOneBlockThatGlibcServesFast)
{
    showPage("App.SomeModule.SomeLongTradingPageViewController", { { "symbol", "BTCUSDT" } });
    TrackerMeta record = makeRecord();
    record.ct = record.at = record.fcp = record.pt = record.reqt = record.ft = 1234.567890123;
    record.fpt = record.fp = record.dcl = record.ht = 1234.567890123;
    detail::completed(record);

    const auto text = detail::encodePlain(
        [&](detail::TakeProperty take) { detail::passProperties(record, take); });

    ASSERT_TRUE(text);
    EXPECT_LT(text->capacity(), 1000u);
}

TEST_F(APMRecordTest, AClosureThatIsInstalledAfterTheReportSeesIt)
{
    TrackerManager::setTriggerCallback({});
    manager().enrollAPMReport(makeRecord());
    watchEvents();

    const auto [index, event] = onlyEvent();

    EXPECT_EQ(index, "APM");
    EXPECT_EQ(event.size(), 33u);
    EXPECT_TRUE(event.at("ct").is_double());
}

struct OddRecord : DataAsDict<OddRecord> {
    std::string t = "ODD";
    std::string text = "\xFF";
    std::uint64_t count = 1;
    double number = 1;
    std::optional<Dictionary> dictionary;
};
BOOST_DESCRIBE_STRUCT(OddRecord, (), (t, text, count, number, dictionary))

TEST_F(APMRecordTest, ARecordIsSeenAsItWas)
{
    const auto config = addChannel("APM");
    OddRecord record;
    record.dictionary = Dictionary { { "n", std::uint64_t { 2 } } };

    manager().enrollAPMReport(record);

    EXPECT_TRUE(isSame(onlyEvent().event, record.asDictionary()));
    EXPECT_EQ(config->apiDatas(), (Array { record.asDictionary() }));
}

TEST_F(APMRecordTest, ARecordWithANumberThatIsNotFiniteMakesItsBatchUndeliverable)
{
    const auto config = addChannel("APM", 2);
    OddRecord record;
    record.number = std::numeric_limits<double>::infinity();

    manager().enrollAPMReport(record);
    simulated().runUntilIdle();
    EXPECT_EQ(config->apiDatas(), (Array { record.asDictionary() }));
    manager().enrollAPMReport(makeRecord());
    simulated().runUntilIdle();

    EXPECT_EQ(requestCount(), 0u);
    EXPECT_EQ(ledgerOf("APM").events.dropped.unencodable, 2);
}

TEST_F(APMRecordTest, ARecordStandsInItsBatchLikeItsDictionary)
{
    addChannel("APM", 3);
    TrackerMeta record = makeRecord();
    detail::completed(record);

    manager().enrollAPMReport(record);
    manager().wrapAppendTracker(record.asDictionary());
    manager().enrollAPMReport(OddRecord());
    simulated().runUntilIdle();

    const std::string text = encode(record.asDictionary()).value();
    const std::string odd = encode(OddRecord().asDictionary()).value();
    EXPECT_EQ(simulated().httpClient().requests().at(0).body,
        R"({"data-list":[)" + text + "," + text + "," + odd + "]}");
}

struct OwnRecord : DataAsDict<OwnRecord> {
    std::string t = "OWN";
    std::optional<std::string> p;
    std::optional<bool> wifi;
    std::optional<StringDictionary> pageExpend;
    std::optional<std::int64_t> batr;
    int count_ = 3;
};
BOOST_DESCRIBE_STRUCT(OwnRecord, (), (t, p, wifi, pageExpend, batr, count_))

TEST_F(APMRecordTest, ARecordOfTheHostsOwnTypeIsCompletedWhereItHasTheProperties)
{
    showPage("Live", { { "id", "7" } });
    OwnRecord record;

    manager().enrollAPMReport(record);

    EXPECT_EQ(onlyEvent().event,
        (Dictionary { { "t", "OWN" }, { "p", "Live" }, { "wifi", true },
            { "pageExpend", { { "id", "7" } } }, { "batr", nullptr }, { "count_", 3 } }));
    EXPECT_EQ(record.p, "Live");
}

struct PlainRecord : DataAsDict<PlainRecord> {
    std::string p = "mine";
    double wifi = 0.5;
};
BOOST_DESCRIBE_STRUCT(PlainRecord, (), (p, wifi))

TEST_F(APMRecordTest, ARecordWithoutOptionalPropertiesIsReportedUnchanged)
{
    showPage("Live", { { "id", "7" } });

    manager().enrollAPMReport(PlainRecord());
    manager().enrollAPMReport(CommonTrackerModel());

    simulated().runUntilIdle();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].event, (Dictionary { { "p", "mine" }, { "wifi", 0.5 } }));
    EXPECT_EQ(seen[1].event.size(), 8u);
}

TEST_F(APMRecordQuirk, AReportAlwaysHasAll33Keys)
{
    EXPECT_THAT(keysOf(report(makeRecord())),
        ElementsAre("t", "d", "f", "p", "ci", "batr", "wifi", "scb", "si", "ct", "at", "pageExpend",
            "fcp", "pt", "reqt", "ft", "fpt", "fp", "dcl", "ht", "u", "wt", "s", "bc", "wt_s",
            "status", "network", "msg_id", "content_type", "c", "cs", "extra", "ipaMode"));
}

TEST_F(APMRecordQuirk, TheCSRuleAppliesToDictionariesOnly)
{
    TrackerMeta record = makeRecord();
    record.cs = "x";

    const Dictionary event = report(std::move(record));

    EXPECT_EQ(event.at("cs"), "x");
    EXPECT_EQ(event.at("extra"), nullptr);
}

} // namespace
} // namespace telvora
