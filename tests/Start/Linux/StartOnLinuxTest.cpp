#include <Telvora/StartTelvora.h>

#include <Telvora/Platform/Bundle.h>

#include <tests/ChildProcess.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace telvora {
namespace {

using Problems = std::vector<std::string>;

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

Problems problemsWith(CurlHTTPOptions http)
{
    return startTelvora({}, { .http = std::move(http) }).problems;
}

TEST(StartOnLinuxTest, AFileThatCannotBeReadIsAProblem)
{
    const std::string missing = "/nowhere/file.pem";

    EXPECT_EQ(problemsWith({ .authorityFile = missing }),
        Problems { "http.authorityFile: the file \"/nowhere/file.pem\" cannot be read" });
    EXPECT_EQ(problemsWith({ .certificateFile = "/" }),
        Problems { "http.certificateFile: the file \"/\" cannot be read" });
    EXPECT_EQ(problemsWith({ .certificateFile = "/proc/self/comm", .keyFile = missing }),
        Problems { "http.keyFile: the file \"/nowhere/file.pem\" cannot be read" });
    EXPECT_EQ(detail::usedPlatform(), nullptr);
}

TEST(StartOnLinuxTest, AKeyNeedsItsCertificate)
{
    EXPECT_EQ(problemsWith({ .keyFile = "/proc/self/comm" }),
        Problems { "http.keyFile is of no use without http.certificateFile" });
}

TEST(StartOnLinuxTest, AProxyIsAnAddressAndAnAnswerHasBytes)
{
    EXPECT_EQ(problemsWith({ .proxy = "proxy example", .answerLimitBytes = 0 }),
        (Problems { "http.proxy: \"proxy example\" is not an address",
            "http.answerLimitBytes: with 0 no answer can be read" }));
}

TEST(StartOnLinuxTest, RightOptionsOfTheHTTPClientHaveNoProblems)
{
    EXPECT_EQ(problemsWith({ .authorityFile = "/proc/self/comm",
                  .certificateFile = "/proc/self/comm",
                  .proxy = "proxy.example:3128",
                  .answerLimitBytes = 1 }),
        Problems());
}

TEST(StartOnLinuxTest, AnEmptyProxyIsNone)
{
    EXPECT_EQ(problemsWith({ .proxy = "" }), Problems());
}

TEST(StartOnLinuxTest, APlatformThatIsInUseIsNotReplaced)
{
    Platform& used = platform();

    EXPECT_EQ(startTelvora(oneChannel()).problems,
        Problems { "Another platform is installed or in use already" });
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
