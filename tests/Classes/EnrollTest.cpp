#include <tests/Classes/SimulatedHost.h>

#include <chrono>
#include <cmath>
#include <limits>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class EnrollTest : public SimulatedHost {
protected:
    EnrollTest() { watchEvents(); }

    // The report of a record without any measurement, on Wi-Fi and without a page.
    static Dictionary blank(std::string_view type)
    {
        Dictionary event;
        for (const char* key :
            { "t", "d", "f", "p", "ci", "batr", "wifi", "scb", "si", "ct", "at", "pageExpend",
                "fcp", "pt", "reqt", "ft", "fpt", "fp", "dcl", "ht", "u", "wt", "s", "bc", "wt_s",
                "status", "network", "msg_id", "content_type", "c", "cs", "extra", "ipaMode" })
            event[key] = nullptr;
        for (const char* key : { "ct", "at", "fcp", "pt", "reqt", "ft", "fpt", "fp", "dcl", "ht" })
            event[key] = 0.0;
        event["t"] = type;
        event["d"] = ManualClock::firstSecondsSince1970;
        event["wifi"] = true;
        event["ipaMode"] = "RELEASE";
        return event;
    }

    // Expects one report since watchEvents(): a blank one with exactly these changes.
    void expectReport(std::string_view type, const Dictionary& changes)
    {
        Dictionary expected = blank(type);
        for (const auto& member : changes)
            expected[member.key()] = member.value();
        const auto [index, event] = onlyEvent();
        EXPECT_EQ(index, "APM");
        EXPECT_EQ(event, expected);
        seen.clear();
    }
};
using EnrollQuirk = EnrollTest;

TEST_F(EnrollQuirk, EachMeasurementFillsItsOwnFieldsOnly)
{
    manager().enrollSlowFrameTrack(0.25, 12, "Page");
    expectReport("SLOW-FRAME", { { "p", "Page" }, { "ct", 12.0 }, { "at", 0.25 } });

    manager().enrollFrozenFrameTrack(700, 1e6, "Page");
    expectReport("FROZEN-FRAME", { { "p", "Page" }, { "ct", 1e6 }, { "at", 700.0 } });

    manager().enrollPageViewTrack("Page");
    expectReport("PAGE-VIEW", { { "p", "Page" } });

    manager().enrollSkarnTrack("main\nrun", "98%");
    expectReport("BLOCK", { { "si", "main\nrun" }, { "ci", "98%" } });

    manager().enrollFirstFrameTrack(0.124, "Page");
    expectReport("FIRST-FRAME", { { "f", 0.12 }, { "p", "Page" } });

    manager().enrollLCPTrack(1, 2, 3, 4, 5, 6, "Page");
    expectReport("LCP",
        { { "fcp", 2.0 }, { "pt", 3.0 }, { "reqt", 4.0 }, { "ft", 5.0 }, { "ct", 6.0 },
            { "p", "Page" } });

    manager().enrollLaunchTrack({ { "fp", 1 }, { "fpt", 2 }, { "dcl", 3 }, { "fcp", 4 },
        { "ct", 5 }, { "d", 6 }, { "at", 7 }, { "ht", 8 } });
    expectReport("START",
        { { "fp", 1.0 }, { "fpt", 2.0 }, { "dcl", 3.0 }, { "fcp", 4.0 }, { "ct", 5.0 },
            { "d", 6.0 }, { "at", 7.0 }, { "ht", 8.0 } });
}

TEST_F(EnrollTest, AMeasurementWithNamedMembersIsSentInMilliseconds)
{
    manager().enrollSlowFrameTrack({ .slow = 48ms, .total = 1s, .page = "Page" });
    expectReport("SLOW-FRAME", { { "p", "Page" }, { "ct", 1000.0 }, { "at", 48.0 } });

    manager().enrollFrozenFrameTrack({ .frozen = 2s, .total = 1min, .page = "Page" });
    expectReport("FROZEN-FRAME", { { "p", "Page" }, { "ct", 60000.0 }, { "at", 2000.0 } });

    manager().enrollFirstFrameTrack({ .time = 16667us, .page = "Page" });
    expectReport("FIRST-FRAME", { { "f", 16.67 }, { "p", "Page" } });

    manager().enrollLCPTrack({ .init = 1500us,
        .render = 2ms,
        .request = 3ms,
        .firstFrame = 4ms,
        .total = 5ms,
        .page = "Page" });
    expectReport("LCP",
        { { "fcp", 1.5 }, { "pt", 2.0 }, { "reqt", 3.0 }, { "ft", 4.0 }, { "ct", 5.0 },
            { "p", "Page" } });

    manager().enrollLaunchTrack({ .d = std::chrono::sys_time<std::chrono::milliseconds>(1234500ms),
        .fp = 1ms,
        .fpt = 2ms,
        .dcl = 3ms,
        .fcp = 4ms,
        .ct = 5s,
        .at = 6ms,
        .ht = 7ms });
    expectReport("START",
        { { "d", 1234.5 }, { "fp", 1.0 }, { "fpt", 2.0 }, { "dcl", 3.0 }, { "fcp", 4.0 },
            { "ct", 5000.0 }, { "at", 6.0 }, { "ht", 7.0 } });
}

TEST_F(EnrollTest, AMemberThatIsLeftOutIsZeroAndALaunchHasTheTimeOfTheCall)
{
    manager().enrollLCPTrack({ .total = 5ms });
    expectReport("LCP", { { "ct", 5.0 } });

    manager().enrollLaunchTrack({ .ct = 310ms });
    expectReport("START", { { "ct", 310.0 } });
}

TEST_F(EnrollTest, APageThatIsLeftOutIsThePageOnTopAndAnEmptyOneStays)
{
    showPage("Live");

    manager().enrollSlowFrameTrack({ .slow = 48ms });
    expectReport("SLOW-FRAME", { { "at", 48.0 }, { "p", "Live" } });

    manager().enrollSlowFrameTrack({ .slow = 48ms, .page = "" });
    expectReport("SLOW-FRAME", { { "at", 48.0 }, { "p", "" } });
}

TEST_F(EnrollTest, AMeasurementIsNeitherCheckedNorScaled)
{
    manager().enrollSlowFrameTrack(-1, -0.0, "");
    expectReport("SLOW-FRAME", { { "p", "" }, { "ct", -0.0 }, { "at", -1.0 } });
}

TEST_F(EnrollTest, AFirstFrameIsRoundedToTwoDecimalsHalfAwayFromZero)
{
    const std::vector<std::pair<double, double>> table {
        { 0.125, 0.13 },
        { 0.124, 0.12 },
        { -0.125, -0.13 },
        // As a double, the product is 100.49999999999999.
        { 1.005, 1.0 },
        { 2.345, 2.35 },
        { 16, 16 },
        { 1e300, 1e300 },
        { 0, 0 },
    };
    for (const auto& [interval, rounded] : table) {
        manager().enrollFirstFrameTrack(interval, "Page");
        expectReport("FIRST-FRAME", { { "f", rounded }, { "p", "Page" } });
    }
}

TEST_F(EnrollTest, AFirstFrameOfNaNStaysNaN)
{
    manager().enrollFirstFrameTrack(std::numeric_limits<double>::quiet_NaN(), "Page");
    EXPECT_TRUE(std::isnan(onlyEvent().event.at("f").as_double()));
}

TEST_F(EnrollTest, AnEmptyPageNameIsNotReplaced)
{
    showPage("Live");

    manager().enrollPageViewTrack("");

    expectReport("PAGE-VIEW", { { "p", "" } });
}

TEST_F(EnrollTest, ABacktraceReportNamesThePageOnTop)
{
    showPage("Live", { { "id", "7" } });

    manager().enrollSkarnTrack("", "");

    expectReport("BLOCK",
        { { "si", "" }, { "ci", "" }, { "p", "Live" }, { "pageExpend", { { "id", "7" } } } });
}

TEST_F(EnrollTest, AMeasurementHasTheTimeOfTheCall)
{
    simulated().setWallTime(1234.5);
    simulated().setHold(true);

    manager().enrollPageViewTrack("Page");
    simulated().setWallTime(9999);
    simulated().setHold(false);

    expectReport("PAGE-VIEW", { { "p", "Page" }, { "d", 1234.5 } });
}

TEST_F(EnrollQuirk, ALaunchWithoutATimeHasTheTimeZero)
{
    manager().enrollLaunchTrack({});
    expectReport("START", { { "d", 0.0 } });

    manager().enrollLaunchTrack({ { "unknown", 5 }, { "ht", 1 } });
    expectReport("START", { { "d", 0.0 }, { "ht", 1.0 } });
}

TEST_F(EnrollQuirk, TheStartTimeOfAnLCPIsNotReported)
{
    manager().enrollLCPTrack(123, 0, 0, 0, 0, 0, "Page");
    expectReport("LCP", { { "p", "Page" } });

    manager().enrollLCPTrack(0, 0, 0, 0, 0, 0, "Page");
    expectReport("LCP", { { "p", "Page" } });
}

TEST_F(EnrollQuirk, UseOstraHasNoEffect)
{
    addChannel("APM");

    manager().enrollPageViewTrack("Page", true);
    expectReport("PAGE-VIEW", { { "p", "Page" } });

    const auto provider = installProvider();
    manager().enrollPageViewTrack("Page", false);
    EXPECT_EQ(provider->contents.size(), 1u);
    simulated().runUntilIdle();
    EXPECT_TRUE(seen.empty());
}

} // namespace
} // namespace telvora
