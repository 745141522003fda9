#include <Telvora/Start/StartTelvora.h>

#include <Telvora/Platform/Platform.h>
#include <tests/ChildProcess.h>
#include <tests/Classes/SimulatedHost.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace telvora {
namespace {

using Problems = std::vector<std::string>;

class StartRefusedTest : public SimulatedHost {
protected:
    static StartResult start(TelvoraOptions options)
    {
        return startTelvora(std::move(options), simulated().services());
    }

    static constexpr const char* url = "http://collector.example/e2e";
};

TEST_F(StartRefusedTest, WithAnythingWrongNothingIsDone)
{
    int starts = 0;
    const auto log = std::make_shared<RecordingLogService>();
    const StartResult result = start({
        .channels = { { .index = "E2E", .url = url, .onStart = [&] { ++starts; } },
            { .index = "MP", .url = "collector" } },
        .mode = TrackerMode::debug,
        .log = log,
    });

    EXPECT_FALSE(result);
    EXPECT_EQ(
        result.text(), "Channel \"MP\": \"collector\" does not begin with http:// or https://\n");
    EXPECT_EQ(manager().config("E2E"), nullptr);
    EXPECT_FALSE(manager().trackerTimer().isRunning());
    EXPECT_EQ(
        simulated().notificationCenter().registrationCount(Notification::didEnterBackground), 0u);
    EXPECT_EQ(TrackerConfiguration::mode(), TrackerMode::release);
    EXPECT_EQ(log->initCount, 0);
    EXPECT_EQ(starts, 0);
}

TEST_F(StartRefusedTest, ACallThatFailedMayBeRepeatedAndOneThatDidNotMayNot)
{
    EXPECT_FALSE(start({ .channels = { { .index = "E2E" } } }));
    EXPECT_TRUE(start({ .channels = { { .index = "E2E", .url = url } } }));
    EXPECT_EQ(start({ .channels = { { .index = "MP", .url = url } } }).problems,
        Problems { "startTelvora() was called before" });

    EXPECT_EQ(manager().config("MP"), nullptr);
}

TEST_F(StartRefusedTest, ALibraryThatTheHostHasStartedIsNotStartedAgain)
{
    TrackerManager::start();

    EXPECT_EQ(start({}).problems, Problems { "TrackerManager::start() was called before" });
    EXPECT_EQ(
        simulated().notificationCenter().registrationCount(Notification::didEnterBackground), 1u);
}

TEST_F(StartRefusedTest, AnotherPlatformThatIsInUseStays)
{
    SimulatedPlatform other;

    EXPECT_EQ(startTelvora({}, other.services()).problems,
        Problems { "Another platform is installed or in use already" });
    EXPECT_EQ(&platform(), &simulated().services());
}

TEST_F(StartRefusedTest, AForkedChildIsToldThatNothingWorksThere)
{
    detail::noteUse();

    EXPECT_EQ(endOfChild([] {
        // As the fork handler of the Linux platform does.
        detail::afterForkInChild();
        const StartResult result = start({});
        if (result || result.problems.size() != 1
            || !result.text().starts_with("In a process that"))
            std::_Exit(3);
    }),
        "exited 0");
}

TEST(StartOnNewPlatformTest, ThePlatformIsInstalledWhereNoneIsInUse)
{
    auto& made = *new SimulatedPlatform;

    EXPECT_FALSE(startTelvora({ .channels = { { .index = "E2E" } } }, made.services()));
    EXPECT_EQ(detail::usedPlatform(), nullptr);
    EXPECT_TRUE(startTelvora({}, made.services()));
    EXPECT_EQ(detail::usedPlatform(), &made.services());
}

} // namespace
} // namespace telvora
