#include <Telvora/StartTelvora.h>

#include <Telvora/Platform/Bundle.h>

#include <tests/ChildProcess.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace telvora {
namespace {

// No server listens on port 1.
TelvoraOptions oneChannel(Address url = "http://127.0.0.1:1")
{
    TelvoraOptions options;
    options.channels.push_back({ .index = "E2E", .url = std::move(url) });
    return options;
}

TEST(StartOnLinuxTest, ThePlatformIsMadeOfItsOptionsAndInstalled)
{
    const StartResult result = startTelvora(oneChannel(), { .applicationVersion = "1.4.2" });

    EXPECT_TRUE(result) << result.text();
    EXPECT_EQ(
        platform().bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), Value("1.4.2"));
    EXPECT_TRUE(TrackerManager::shared().trackerTimer().isRunning());
    EXPECT_NE(TrackerManager::shared().config("E2E"), nullptr);
}

TEST(StartOnLinuxTest, ThePlatformNeedsNoOptions)
{
    EXPECT_TRUE(startTelvora({}));
}

TEST(StartOnLinuxTest, WithAnythingWrongNoPlatformIsMade)
{
    EXPECT_FALSE(startTelvora(oneChannel("collector")));

    EXPECT_EQ(detail::usedPlatform(), nullptr);
}

TEST(StartOnLinuxTest, APlatformThatIsInUseIsNotReplaced)
{
    Platform& used = platform();

    EXPECT_EQ(startTelvora(oneChannel()).problems,
        std::vector<std::string> { "Another platform is installed or in use already" });
    EXPECT_EQ(&platform(), &used);
}

TEST(StartOnLinuxTest, AHostMayMakeThePlatformItself)
{
    auto& made = *new LinuxPlatform;

    EXPECT_TRUE(startTelvora(oneChannel(), made.services()));
    EXPECT_EQ(&platform(), &made.services());
}

TEST(StartOnLinuxTest, AChildForkedAfterTheStartIsToldThatNothingWorksThere)
{
    ASSERT_TRUE(startTelvora({}));

    EXPECT_EQ(endOfChild([] {
        const StartResult result = startTelvora({});
        if (!result.text().starts_with("In a process that was forked"))
            std::_Exit(3);
    }),
        "exited 0");
}

TEST(StartOnLinuxTest, AChildForkedBeforeTheStartStarts)
{
    EXPECT_EQ(endOfChild([] {
        if (!startTelvora(oneChannel()))
            std::_Exit(3);
    }),
        "exited 0");
}

} // namespace
} // namespace telvora
