#include <Telvora/Platform/Linux/LinuxPlatform.h>

#include <Telvora/Platform/Bundle.h>
#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/FileManager.h>
#include <Telvora/Platform/Linux/Machine/LinuxDevice.h>
#include <Telvora/Platform/Reachability.h>

#include <tests/Platform/Linux/Machine/TemporaryTree.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <memory>
#include <optional>
#include <sys/prctl.h>
#include <thread>

namespace telvora::detail {
namespace {

using Use = ReachabilityService::Use;

TEST(LinuxPlatformTest, WithoutOptionsTheMachineAnswers)
{
    LinuxPlatform machine;
    const Platform& services = machine.services();

    EXPECT_FALSE(services.device.safeDescription().empty());
    EXPECT_EQ(services.bundle.bundleIdentifier(), std::nullopt);
    EXPECT_EQ(
        services.bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), std::nullopt);
    EXPECT_TRUE(services.fileManager.fileExists("/proc/self"));
    EXPECT_EQ(services.screens.keyWindow(), nullptr);
    EXPECT_FALSE(services.telephony.serviceSubscriberCellularProviders());
    EXPECT_NE(services.reachability.makeReachability(Use::oneReading), nullptr);
    EXPECT_NE(services.uuids.next(), services.uuids.next());
    EXPECT_GT(services.clock.secondsSince1970(), 0);
}

TEST(LinuxPlatformTest, AnApplicationIsCalledLikeItsProgramUntilItSaysMore)
{
    LinuxPlatform machine;
    EXPECT_EQ(machine.services().bundle.objectForInfoDictionaryKey("CFBundleName"),
        Value(std::string(::program_invocation_short_name).substr(0, 15)));

    LinuxPlatform named({ .applicationName = "Host" });
    EXPECT_EQ(named.services().bundle.objectForInfoDictionaryKey("CFBundleName"), Value("Host"));
}

TEST(LinuxPlatformTest, AnApplicationIsCalledTheSameOnEachThread)
{
    const auto nameOn = [](const char* thread) {
        ::prctl(PR_SET_NAME, thread);
        return LinuxPlatform().services().bundle.objectForInfoDictionaryKey("CFBundleName");
    };
    // The name of the main thread is the program's.
    EXPECT_EQ(nameOn(" host \nname"), Value("host"));
    std::optional<Value> elsewhere;
    std::thread([&] { elsewhere = nameOn("other"); }).join();
    EXPECT_EQ(elsewhere, Value("host"));
}

TEST(LinuxPlatformTest, TheHostsOptionsReachTheServices)
{
    LinuxPlatform machine({
        .applicationVersion = "1.4.2",
        .applicationIdentifier = "com.example.host",
        .infoDictionary = { { "Channel", "beta" } },
        .screen = MainScreen { 390, 844, 3, 460 },
    });
    const Platform& services = machine.services();

    EXPECT_EQ(services.bundle.bundleIdentifier(), "com.example.host");
    EXPECT_EQ(
        services.bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), Value("1.4.2"));
    EXPECT_EQ(services.bundle.objectForInfoDictionaryKey("Channel"), Value("beta"));
    EXPECT_EQ(services.device.screenScale(), 3);
}

TEST(LinuxPlatformTest, TheRootAppliesToTheMachineAndNotToFiles)
{
    const TemporaryTree tree;
    tree.write("/etc/os-release", "VERSION_ID=99.1\n");
    tree.write("/proc/device-tree/model", "A board");
    tree.write("/only/here", "");
    LinuxPlatform machine({ .root = tree.path() });
    const Platform& services = machine.services();

    EXPECT_EQ(services.device.systemVersion(), "99.1");
    EXPECT_EQ(services.device.safeDescription(), "A board");
    EXPECT_FALSE(services.fileManager.fileExists("/only/here"));
}

TEST(LinuxPlatformTest, MainWorkGoesToTheHostsMainThread)
{
    std::vector<Work> handed;
    LinuxPlatform machine({ .mainThread = [&](Work work) { handed.push_back(std::move(work)); } });
    bool isRun = false;

    machine.services().dispatch.mainAsync([&] { isRun = true; });
    ASSERT_EQ(handed.size(), 1u);
    EXPECT_FALSE(isRun);
    handed.front()();

    EXPECT_TRUE(isRun);
}

TEST(LinuxPlatformTest, WithoutAMainThreadMainWorkStillRuns)
{
    LinuxPlatform machine;
    const auto isRun = std::make_shared<std::promise<void>>();

    machine.services().dispatch.mainAsync([isRun] { isRun->set_value(); });

    isRun->get_future().wait();
}

TEST(LinuxPlatformTest, TheLibraryMakesAPlatformIfTheHostInstalledNone)
{
    const Platform& first = platform();

    EXPECT_EQ(&platform(), &first);
    EXPECT_NE(dynamic_cast<LinuxDevice*>(&first.device), nullptr);
}

TEST(LinuxPlatformTest, AnInstalledPlatformIsTheOneInUse)
{
    static LinuxPlatform& s_linux = *new LinuxPlatform({ .applicationName = "Host" });

    installPlatform(s_linux.services());

    EXPECT_EQ(&platform(), &s_linux.services());
}

TEST(LinuxPlatformDeathTest, TheProcessEndsCleanlyWithEverythingUnderWay)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            Platform& services = platform();
            static auto s_object = services.reachability.makeReachability(Use::held);
            s_object->startNotifier();
            services.httpClient.send(
                { .url = "http://127.0.0.1:9/", .method = "POST", .headers = {}, .body = "x" },
                [](HTTPAnswer) {});
            services.dispatch.globalAsyncAfter(std::chrono::seconds(0), [] {});
            std::exit(7);
        },
        testing::ExitedWithCode(7), "");
}

} // namespace
} // namespace telvora::detail
