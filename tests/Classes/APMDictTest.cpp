#include <tests/Base/JSONTesting.h>
#include <tests/Classes/SimulatedHost.h>

#include <gmock/gmock.h>

#include <cmath>

namespace telvora {
namespace {

using testing::UnorderedElementsAre;

class APMDictTest : public SimulatedHost {
protected:
    APMDictTest() { watchEvents(); }

    // The event that the report of `dict` becomes.
    Dictionary report(Dictionary dict)
    {
        seen.clear();
        manager().reportAPMDict(std::move(dict));
        const auto [index, event] = onlyEvent();
        EXPECT_EQ(index, "APM");
        return event;
    }
};
using APMDictQuirk = APMDictTest;

TEST_F(APMDictTest, ACompleteDictionaryKeepsItsTable)
{
    std::size_t capacity = 0;
    TrackerManager::setTriggerCallback(
        [&](const Dictionary& event, const std::string&) { capacity = event.capacity(); });
    Dictionary dict;
    dict.reserve(6);
    for (const char* key : { "d", "p", "wifi", "si", "pageExpend", "ipaMode" })
        dict[key] = nullptr;
    ASSERT_EQ(dict.capacity(), dict.size());

    manager().reportAPMDict(std::move(dict));
    simulated().runUntilIdle();

    EXPECT_EQ(capacity, 6u);
    TrackerManager::setTriggerCallback({});
}

TEST_F(APMDictTest, AnEmptyDictionaryIsNeitherSentNorLogged)
{
    const auto log = listen();

    manager().reportAPMDict({});

    simulated().runUntilIdle();
    EXPECT_TRUE(seen.empty());
    EXPECT_TRUE(log->lines.empty());
}

TEST_F(APMDictTest, AnFPSReportWithoutAPageHasSixKeys)
{
    EXPECT_EQ(report({ { "t", "FPS" } }),
        (Dictionary { { "t", "FPS" }, { "d", 1700000000.0 }, { "si", 0.0 },
            { "ipaMode", "RELEASE" }, { "fpt", 0 }, { "wifi", true } }));
}

TEST_F(APMDictTest, APageAddsItsNameAndParameters)
{
    showPage("Live", { { "id", "7" } });

    const Dictionary event = report({ { "t", "FPS" } });

    EXPECT_EQ(event.size(), 8u);
    EXPECT_EQ(event.at("p"), "Live");
    EXPECT_EQ(event.at("pageExpend"), (Value { { "id", "7" } }));
}

TEST_F(APMDictTest, ThePageIsNamedByItsClassAndNotByItsScene)
{
    showPage("Live");
    simulated().screens().setClassName("Live", "LivePage");
    simulated().screens().setSceneName("Live", "App.LivePage");

    EXPECT_EQ(report({ { "t", "x" } }).at("p"), "LivePage");
}

TEST_F(APMDictTest, APageWithoutParametersAddsOnlyItsName)
{
    showPage("Live");

    const Dictionary event = report({ { "t", "x" } });

    EXPECT_EQ(event.at("p"), "Live");
    EXPECT_FALSE(event.contains("pageExpend"));
}

TEST_F(APMDictTest, APageWhoseScreenIsDestroyedAddsOnlyItsParameters)
{
    showPage("Live", { { "id", "7" } });
    simulated().screens().release("Live");

    const Dictionary event = report({ { "t", "x" } });

    EXPECT_FALSE(event.contains("p"));
    EXPECT_EQ(event.at("pageExpend"), (Value { { "id", "7" } }));
}

TEST_F(APMDictTest, TimeAndModeAreReplacedAndOtherKeysAreKept)
{
    showPage("Live", { { "id", "7" } });
    manager().setMode(TrackerMode::debug);
    const Dictionary kept { { "p", "mine" }, { "wifi", "text" }, { "si", "stack" },
        { "pageExpend", 1 } };
    Dictionary dict = kept;
    dict["d"] = 5;
    dict["ipaMode"] = "mine";

    const Dictionary event = report(dict);

    for (const auto& member : kept)
        EXPECT_EQ(event.at(member.key()), member.value());
    EXPECT_EQ(event.at("d"), 1700000000.0);
    EXPECT_EQ(event.at("ipaMode"), "DEBUG");
}

TEST_F(APMDictTest, ANullOfTheHostIsKept)
{
    showPage("Live", { { "id", "7" } });

    const Dictionary event = report(
        { { "p", nullptr }, { "wifi", nullptr }, { "si", nullptr }, { "pageExpend", nullptr } });

    for (const char* key : { "p", "wifi", "si", "pageExpend" })
        EXPECT_EQ(event.at(key), nullptr) << key;
}

TEST_F(APMDictTest, TheBatteryLevelIsNotAdded)
{
    EXPECT_FALSE(report({ { "t", "x" } }).contains("batr"));
    EXPECT_EQ(report({ { "batr", 80 } }).at("batr"), 80);
}

TEST_F(APMDictQuirk, SiIsSecondsSinceTheStart)
{
    TrackerDataExcavator::initial();
    simulated().setWallTime(1700000012.25);
    EXPECT_EQ(report({ { "t", "x" } }).at("si"), 12.25);

    TrackerDataExcavator::setStartTimestamp(1700000010);
    EXPECT_EQ(report({ { "t", "x" } }).at("si"), 2.25);
}

TEST_F(APMDictTest, SiIsNeverNegative)
{
    TrackerDataExcavator::initial();
    simulated().setWallTime(1600000000);

    EXPECT_EQ(report({ { "t", "x" } }).at("si"), 0.0);
}

TEST_F(APMDictTest, OnlyAnFPSReportSaysWhetherAPageChanges)
{
    TrackerDataExcavator::setIsTransitioning(true);

    EXPECT_EQ(report({ { "t", "FPS" }, { "fpt", "mine" } }).at("fpt"), 1);
    EXPECT_EQ(report({ { "t", "FPS2" }, { "fpt", "mine" } }).at("fpt"), "mine");
    EXPECT_FALSE(report({ { "t", "fps" } }).contains("fpt"));
    EXPECT_FALSE(report({ { "k", 1 } }).contains("fpt"));

    TrackerDataExcavator::setIsTransitioning(false);
    EXPECT_EQ(report({ { "t", "FPS" }, { "fpt", "mine" } }).at("fpt"), 0);
}

TEST_F(APMDictTest, ValuesOfWrongTypesAreKept)
{
    const Dictionary odd { { "t", 7 }, { "cs", { { "a", 1 } } }, { "extra", { 1, 2 } },
        { "p", 1.5 }, { "wifi", "text" }, { "si", Array() }, { "fpt", nullptr } };

    const Dictionary event = report(odd);

    for (const auto& member : odd)
        EXPECT_EQ(event.at(member.key()), member.value()) << member.key();
}

TEST_F(APMDictTest, AnEmptyKeyIsKept)
{
    EXPECT_EQ(report({ { "", "x" } }).at(""), "x");
}

TEST_F(APMDictTest, ALogLineShowsTheReport)
{
    const auto log = listen();

    report({ { "t", "x" }, { "n", nullptr }, { "bad", std::nan("") } });

    ASSERT_EQ(log->lines.size(), 1u);
    EXPECT_EQ(log->lines.front(),
        R"([TrackerData] Telvora report data: {"t":"x","n":null,"bad":nan,"d":1700000000.0,)"
        R"("wifi":true,"si":0.0,"ipaMode":"RELEASE"})");
}

TEST_F(APMDictTest, ADictionaryOfAnyDepthIsReported)
{
    Value deep = deepArray(100'000);
    TrackerManager::setTriggerCallback({});
    listen();

    // "d" keeps its place among the members.
    manager().reportAPMDict({ { "d", std::move(deep) } });
    simulated().runUntilIdle();
}

TEST_F(APMDictQuirk, ImmediatelyAndUseOstraHaveNoEffect)
{
    addChannel("APM");

    for (const bool isImmediate : { false, true }) {
        for (const bool useOstra : { false, true })
            manager().reportAPMDict({ { "t", "x" } }, isImmediate, useOstra);
    }

    simulated().runUntilIdle();
    EXPECT_EQ(simulated().httpClient().requestCount(), 0u);
    EXPECT_EQ(manager().config("APM")->apiDatas().size(), 4u);
}

} // namespace
} // namespace telvora
