#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Telvora.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>

namespace telvora {
namespace {

using namespace std::chrono_literals;

int threadsNamed(const std::string& name)
{
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string itsName;
        std::getline(std::ifstream(task.path() / "comm"), itsName);
        count += itsName == name ? 1 : 0;
    }
    return count;
}

// Each thread that the tick of the minute wakes costs an idle machine power.
TEST(IdleTickTest, ATickThatFindsNothingNeedsOneWorker)
{
    // Never destroyed, as threads of the library may still use it.
    LinuxPlatform& linuxPlatform = *new LinuxPlatform;
    installPlatform(linuxPlatform.services());
    TrackerManager& manager = TrackerManager::shared();
    const auto channel = std::make_shared<TrackerConfig>(
        "E2E", 100, StringDictionary(), Array(), false, [] { return "http://127.0.0.1:1"; });
    manager.register_(channel);

    std::promise<void> hasRun;
    linuxPlatform.dispatch().globalAsyncAfter(0s, [&] {
        for (int tick = 0; tick < 10; ++tick)
            manager.timerEventHandler(channel);
        hasRun.set_value();
    });
    hasRun.get_future().wait();
    linuxPlatform.dispatch().waitUntilIdle(std::chrono::steady_clock::time_point::max());

    EXPECT_EQ(threadsNamed("telvora-worker"), 1);
}

} // namespace
} // namespace telvora
