#include <tests/Classes/SimulatedHost.h>

#include <gmock/gmock.h>

namespace telvora {
namespace {

using testing::ElementsAre;

class CommonDataTest : public SimulatedHost {
protected:
    static std::string sessionOf(const Dictionary& dictionary)
    {
        return std::string(std::string_view(dictionary.at("session").as_string()));
    }

    static Dictionary withoutSession(Dictionary dictionary)
    {
        dictionary.erase("session");
        return dictionary;
    }

    // The standard common data on the simulated device.
    const Dictionary standard {
        { "brand", "iPhone 12" },
        { "version", "1.0.0" },
        { "root", false },
        { "operator", "None" },
        { "sVersion", "1.0" },
        { "os", "15.0" },
        { "appId", "com.example.host" },
        { "client", "ios" },
    };
};
using CommonDataQuirk = CommonDataTest;

TEST_F(CommonDataQuirk, AMachineWithAShellCountsAsRooted)
{
    simulated().fileManager().setExisting({ "/bin/bash" });

    EXPECT_EQ(manager().getCommonE2EDatas().at("root"), true);
}

TEST_F(CommonDataQuirk, WithoutAnIdentifierThereAreNineKeys)
{
    const Dictionary data = manager().getCommonE2EDatas();

    EXPECT_THAT(keysOf(data),
        ElementsAre("brand", "version", "root", "operator", "sVersion", "os", "appId", "client",
            "session"));
    EXPECT_EQ(withoutSession(data), standard);
}

TEST_F(CommonDataTest, AnIdentifierIsTheTenthKey)
{
    manager().setQvxUuid([] { return "B-1"; });

    const Dictionary data = manager().getCommonE2EDatas();

    EXPECT_EQ(data.size(), 10u);
    EXPECT_EQ(data.at("buid"), "B-1");
}

TEST_F(CommonDataTest, AnIdentifierThatIsAbsentLeavesItsKeyOut)
{
    manager().setQvxUuid([] { return std::optional<std::string>(); });

    EXPECT_EQ(manager().getCommonE2EDatas().size(), 9u);
}

TEST_F(CommonDataTest, TheIdentifierIsAskedForOnceABuild)
{
    int calls = 0;
    manager().setQvxUuid([&] { return std::to_string(++calls); });

    EXPECT_EQ(manager().getCommonE2EDatas().at("buid"), "1");
    EXPECT_EQ(manager().getCommonE2EDatas().at("buid"), "2");
    EXPECT_EQ(calls, 2);
}

TEST_F(CommonDataTest, AnIdentifierClosureThatThrowsLeavesTheKeyOut)
{
    manager().setQvxUuid([]() -> std::optional<std::string> { throw std::runtime_error("x"); });

    EXPECT_EQ(manager().getCommonE2EDatas().size(), 9u);
}

TEST_F(CommonDataTest, EachBuildHasANewSessionAndEqualOtherValues)
{
    const Dictionary first = manager().getCommonE2EDatas();
    const Dictionary second = manager().getCommonE2EDatas();

    EXPECT_NE(sessionOf(first), sessionOf(second));
    EXPECT_EQ(withoutSession(first), withoutSession(second));
}

TEST_F(CommonDataTest, ASessionIsAVersion4UUIDInUpperCase)
{
    EXPECT_THAT(sessionOf(manager().getCommonE2EDatas()),
        testing::MatchesRegex(
            "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
}

TEST_F(CommonDataTest, TheBundleIdentifierIsReadAtEachBuildAndTheDeviceIsNot)
{
    manager().getCommonE2EDatas();
    auto device = simulated().device().values();
    device.safeDescription = "another";
    simulated().device().setValues(device);
    simulated().bundle().setBundleIdentifier(std::nullopt);

    const Dictionary data = manager().getCommonE2EDatas();

    EXPECT_EQ(data.at("brand"), "iPhone 12");
    EXPECT_EQ(data.at("appId"), nullptr);
}

TEST_F(CommonDataTest, BuildingChangesNoChannel)
{
    const auto e2e = addChannel("E2E");

    manager().getCommonE2EDatas();

    EXPECT_TRUE(e2e->commonData()->commonDatas.empty());
}

TEST_F(CommonDataQuirk, ASessionLastsFromOneSetUpToTheNext)
{
    const auto e2e = addChannel("E2E");

    manager().setupCommonE2EDatas();
    const std::string first = sessionOf(e2e->commonData()->commonDatas);
    EXPECT_EQ(sessionOf(e2e->commonData()->commonDatas), first);
    manager().setupCommonE2EDatas();
    EXPECT_NE(sessionOf(e2e->commonData()->commonDatas), first);
}

TEST_F(CommonDataTest, ASetUpOfAChannelThatIsNotRegisteredDoesNothing)
{
    const auto other = addChannel("other");

    manager().setupCommonE2EDatas();
    manager().setupCommonMPDatas();
    manager().setupCommonVendelDatas();
    manager().setupCommonSentryDatas(true, true);
    manager().setupCommonSentryDatas(false, false);

    EXPECT_TRUE(other->commonData()->commonDatas.empty());
    EXPECT_EQ(manager().config("E2E"), nullptr);
}

TEST_F(CommonDataTest, ASetUpBeforeTheRegistrationIsLost)
{
    manager().setupCommonE2EDatas();
    const auto e2e = addChannel("E2E");

    EXPECT_TRUE(e2e->commonData()->commonDatas.empty());
    EXPECT_EQ(e2e->commonData()->dataListKey, "data-list");
}

TEST_F(CommonDataTest, AVendelSetUpReplacesAllCommonDataOfTheAPMChannel)
{
    const auto apm = addChannel("APM");
    manager().setupCommonDatas({ { "own", 1 } }, "mine", "APM");

    manager().setupCommonVendelDatas();

    EXPECT_EQ(withoutSession(apm->commonData()->commonDatas), standard);
    EXPECT_EQ(apm->commonData()->dataListKey, "data");
}

TEST_F(CommonDataTest, TwoVendelSetUpsHaveTwoSessions)
{
    const auto apm = addChannel("APM");

    manager().setupCommonVendelDatas();
    const std::string first = sessionOf(apm->commonData()->commonDatas);
    manager().setupCommonVendelDatas();

    EXPECT_NE(sessionOf(apm->commonData()->commonDatas), first);
}

TEST_F(CommonDataTest, EitherFlagInstallsTheStandardFormOnSentry)
{
    const auto sentry = addChannel("Sentry");
    const std::vector<std::pair<bool, bool>> flags { { true, false }, { false, true },
        { true, true } };
    for (const auto& [isStandard, byAPM] : flags) {
        manager().setupCommonSentryDatas(false, false);

        manager().setupCommonSentryDatas(isStandard, byAPM);

        EXPECT_EQ(withoutSession(sentry->commonData()->commonDatas), standard);
        EXPECT_EQ(sentry->commonData()->dataListKey, "data");
    }
}

TEST_F(CommonDataTest, TheLastSetUpOfSentryReplacesTheEarlierOne)
{
    const auto sentry = addChannel("Sentry");

    manager().setupCommonSentryDatas(true, false);
    manager().setupCommonSentryDatas(false, false);

    EXPECT_EQ(sentry->commonData()->dataListKey, "data-list");
    EXPECT_FALSE(sentry->commonData()->commonDatas.contains("client"));
}

TEST_F(CommonDataTest, WithoutSystemVersionAndBundleTheFrontEndFormHasFourKeys)
{
    const auto sentry = addChannel("Sentry");
    simulated().bundle().setBundleIdentifier(std::nullopt);
    TrackerDataExcavator::setSystemVersion(std::nullopt);

    manager().setupCommonSentryDatas(false, false);

    EXPECT_THAT(keysOf(sentry->commonData()->commonDatas),
        ElementsAre("brand", "appVersion", "jailbreaked", "operator"));
}

TEST_F(CommonDataQuirk, TheFrontEndMonitorHasItsOwnKeys)
{
    const auto sentry = addChannel("Sentry");
    manager().setQvxUuid([] { return "B-1"; });

    manager().setupCommonSentryDatas(false, false);

    const Dictionary expected {
        { "brand", "iPhone 12" },
        { "appVersion", "1.0.0" },
        { "jailbreaked", false },
        { "operator", "None" },
        { "system-version", "15.0" },
        { "bundleId", "com.example.host" },
    };
    EXPECT_EQ(sentry->commonData()->commonDatas, expected);
}

TEST_F(CommonDataQuirk, TheKeyOfTheEventListDiffersByChannelAndForm)
{
    for (const char* index : { "E2E", "MP", "Sentry", "APM" })
        addChannel(index);
    const auto keyOf
        = [&](const char* index) { return manager().config(index)->commonData()->dataListKey; };
    // A key that differs from the default of every channel.
    for (const char* index : { "E2E", "MP", "Sentry", "APM" })
        manager().setupCommonDatas({}, "other", index);

    manager().setupCommonE2EDatas();
    manager().setupCommonMPDatas();
    manager().setupCommonVendelDatas();
    manager().setupCommonSentryDatas(true, false);

    EXPECT_EQ(keyOf("E2E"), "data");
    EXPECT_EQ(keyOf("MP"), "data-list");
    EXPECT_EQ(keyOf("APM"), "data");
    EXPECT_EQ(keyOf("Sentry"), "data");
    manager().setupCommonSentryDatas(false, false);
    EXPECT_EQ(keyOf("Sentry"), "data-list");
}

} // namespace
} // namespace telvora
