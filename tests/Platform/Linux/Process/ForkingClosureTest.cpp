// Closures of the host that fork: the child returns from the closure, into the library.

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Telvora.h>

#include <tests/Base/JSONTesting.h>
#include <tests/Platform/Linux/Process/ServedChild.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>

// A fork copies the sanitizers' own locks as other threads left them: allocations hang in a child.
#ifndef TELVORA_SANITIZED

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

std::atomic<bool> s_mayFork { false };
std::atomic<pid_t> s_child { 0 };
bool s_isForkedHere = false;

/// Forks once, when it may.
void forkOnce()
{
    if (!s_mayFork.exchange(false))
        return;
    const pid_t child = ::fork();
    if (child == 0) {
        s_isForkedHere = true;
        ::alarm(60);
    } else {
        s_child = child;
    }
}

class ForkingLog final : public LogService {
public:
    void loggerInit() override { }
    void log(unsigned, const std::string&) override { forkOnce(); }
};

class ForkingProvider final : public QVXOstraProviderProtocol {
public:
    void report(const std::string&, const std::string&) override { forkOnce(); }
};

struct Closure {
    const char* name;
    void (*install)(TrackerConfig& channel);
};

void PrintTo(const Closure& closure, std::ostream* stream)
{
    *stream << closure.name;
}

const Closure closures[] {
    { "StartHook", [](TrackerConfig& channel) { channel.setStartHook(forkOnce); } },
    { "StopHook", [](TrackerConfig& channel) { channel.setStopHook(forkOnce); } },
    { "RestartHook", [](TrackerConfig& channel) { channel.setRestartHook(forkOnce); } },
    { "URLHook",
        [](TrackerConfig&) {
            TrackerManager::shared().register_(
                std::make_shared<TrackerConfig>("MP", 2, StringDictionary(), Array(), false, [] {
                    forkOnce();
                    return "http://127.0.0.1:1/";
                }));
        } },
    { "IdentifierClosure",
        [](TrackerConfig&) {
            TrackerManager::shared().setQvxUuid([] {
                forkOnce();
                return "host";
            });
        } },
    { "TriggerCallback",
        [](TrackerConfig&) {
            TrackerManager::setTriggerCallback(
                [](const Dictionary&, const std::string&) { forkOnce(); });
        } },
    { "Provider",
        [](TrackerConfig&) {
            TrackerManager::shared().register_(std::make_shared<TrackerConfig>("APM", 2));
            TrackerManager::shared().setupOstra(std::make_shared<ForkingProvider>());
        } },
    { "LogService",
        [](TrackerConfig&) {
            QuorvexLog::setLogService(std::make_shared<ForkingLog>());
            QuorvexLog::configLogger();
        } },
};

/// Everything that makes the library call a closure.
void callEveryClosure()
{
    TrackerManager& manager = TrackerManager::shared();
    TrackerManager::stop();
    TrackerManager::start();
    platform().notificationCenter.post(Notification::didEnterBackground);
    platform().notificationCenter.post(Notification::willEnterForeground);
    for (int number = 0; number < 5; ++number) {
        manager.enrollE2ETrack({ { "number", number } });
        manager.enrollMPTrack({ { "number", number } });
        manager.reportAPMDict({ { "number", number } });
    }
    TrackerManager::flush(0s);
    QuorvexLog::log(QuorvexLog::Category::tracker(), "line");
}

class ForkingClosureTest : public ServedChildTest, public testing::WithParamInterface<Closure> { };

TEST_P(ForkingClosureTest, LeavesItsChildInertAndItsParentAtWork)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        const auto channel = std::make_shared<TrackerConfig>(
            "E2E", 2, StringDictionary(), Array(), false, [url] { return url; });
        TrackerManager::shared().register_(channel);
        GetParam().install(*channel);
        TrackerManager::start();
        s_mayFork = true;

        while (s_child == 0 && !s_isForkedHere) {
            callEveryClosure();
            std::this_thread::sleep_for(1ms);
        }
        if (s_isForkedHere) {
            callEveryClosure();
            ::_exit(channel->apiDatas().empty() ? 0 : 5);
        }
        const bool isChildFine = endOf(s_child) == "exited 0";
        callEveryClosure();
        ::_exit(isChildFine && channel->ledger().events.accepted > 0 ? 0 : 4);
    }),
        "exited 0");
}

INSTANTIATE_TEST_SUITE_P(Closures, ForkingClosureTest, testing::ValuesIn(closures),
    [](const auto& closure) { return std::string(closure.param.name); });

std::atomic<bool> s_isLineTaken { false };

/// Never returns from the first line.
class StuckLog final : public LogService {
public:
    void loggerInit() override { }
    void log(unsigned, const std::string&) override
    {
        s_isLineTaken = true;
        for (;;)
            ::pause();
    }
};

TEST(ForkWhileLoggingTest, AChildOfAnUnusedLibraryDoesNotWaitForTheLineOfAnotherThread)
{
    EXPECT_EQ(endOfChild([] {
        QuorvexLog::setLogService(std::make_shared<StuckLog>());
        QuorvexLog::configLogger();
        std::thread([] { QuorvexLog::log(QuorvexLog::Category::tracker(), "line"); }).detach();
        while (!s_isLineTaken)
            std::this_thread::sleep_for(1ms);

        const std::string end = endOfChild([] {
            QuorvexLog::log(QuorvexLog::Category::tracker(), "line");
            callEveryClosure();
            ::_exit(TrackerManager::shared().ledgers().empty() ? 0 : 3);
        });
        ::_exit(end == "exited 0" ? 0 : 4);
    }),
        "exited 0");
}

class ForkedDeepEventTest : public ServedChildTest { };

TEST_F(ForkedDeepEventTest, AnEventNestedDeeperThanTheStackIsDroppedInAChild)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        TrackerManager& manager = TrackerManager::shared();
        manager.register_(std::make_shared<TrackerConfig>(
            "E2E", 2, StringDictionary(), Array(), false, [url] { return url; }));
        TrackerManager::start();
        ::_exit(endOfChild([&manager] {
            constexpr int levels = 400'000;
            const AnyDepth<Dictionary> deep(deepDictionary(levels));
            manager.appendTracker(*deep, "E2E");
            manager.enrollE2ETrack(*deep);
            manager.enrollSentryTrack(*deep, true);
            manager.reportAPMDict(*deep);
            manager.appendTracker(deepDictionary(levels), "E2E");
            manager.enrollE2ETrack(deepDictionary(levels));
            manager.enrollSentryTrack(deepDictionary(levels), true);
            manager.reportAPMDict(deepDictionary(levels));
            ::_exit(0);
        }) == "exited 0"
                ? 0
                : 4);
    }),
        "exited 0");
}

} // namespace
} // namespace telvora::detail

#endif
