// A whole host on the real platform whose static objects die while the library is at work.

#include <Telvora/Classes/Utils/TrackerTimer.h>
#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Telvora.h>

#include <tests/Platform/Linux/Process/ServedChild.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

constexpr int calledTooLate = 9;

/// Something of the host's that its closures use. Made on first use, as a static object is.
struct HostObject {
    std::atomic<bool> isAlive { true };
    std::atomic<int> uses { 0 };

    ~HostObject()
    {
        isAlive = false;
        // A thread that still calls closures calls one meanwhile.
        std::this_thread::sleep_for(50ms);
    }

    void use()
    {
        if (!isAlive)
            ::_exit(calledTooLate);
        ++uses;
    }
};

HostObject& hostObject()
{
    static HostObject object;
    return object;
}

class HostLog final : public LogService {
public:
    void loggerInit() override { hostObject().use(); }
    void log(unsigned, const std::string&) override { hostObject().use(); }
};

void installEveryClosure(const std::string& url)
{
    TrackerManager& manager = TrackerManager::shared();
    const auto channel
        = std::make_shared<TrackerConfig>("E2E", 2, StringDictionary(), Array(), false, [url] {
              hostObject().use();
              return url;
          });
    channel->setStartHook([] { hostObject().use(); });
    channel->setStopHook([] { hostObject().use(); });
    channel->setRestartHook([] { hostObject().use(); });
    manager.register_(channel);
    manager.setQvxUuid([] {
        hostObject().use();
        return "host";
    });
    TrackerManager::setTriggerCallback(
        [](const Dictionary&, const std::string&) { hostObject().use(); });
    manager.networkStatus().onStatusChange([](TrackNetworkStatus) { hostObject().use(); });
    QuorvexLog::setLogService(std::make_shared<HostLog>());
    QuorvexLog::configLogger();
}

/// A thread of the host's that never ends.
void goOnReporting()
{
    std::thread([] {
        for (;;) {
            TrackerManager::shared().enrollE2ETrack({ { "number", 1 } });
            TrackerManager::shared().enrollMPTrack({ { "number", 1 } });
            TrackerManager::shared().reportAPMDict({ { "number", 1 } });
            QuorvexLog::log(QuorvexLog::Category::tracker(), "line");
            platform().notificationCenter.post(Notification::didEnterBackground);
            platform().notificationCenter.post(Notification::willEnterForeground);
            std::this_thread::sleep_for(100us);
        }
    }).detach();
}

class ExitingHostTest : public ServedChildTest { };

TEST_F(ExitingHostTest, NoClosureIsCalledOnceWhatItUsesIsBeingDestroyed)
{
    for (int round = 0; round < 10; ++round) {
        ASSERT_EQ(endOfHost([](const std::string& url) {
            hostObject();
            installEveryClosure(url);
            TrackerManager::start();
            goOnReporting();
            while (hostObject().uses < 100)
                std::this_thread::sleep_for(1ms);
        }),
            "exited 0")
            << round;
    }
}

/// An object that is made when the library has been at work for long, and the closures that use it.
HostObject& laterObject()
{
    static HostObject object;
    return object;
}

class LaterProvider final : public QVXOstraProviderProtocol {
public:
    void report(const std::string&, const std::string&) override { laterObject().use(); }
};

class LaterLog final : public LogService {
public:
    void loggerInit() override { }
    void log(unsigned, const std::string&) override { laterObject().use(); }
};

struct Installation {
    const char* name;
    void (*install)();
};

const Installation installations[] {
    { "TriggerCallback",
        [] {
            TrackerManager::setTriggerCallback(
                [](const Dictionary&, const std::string&) { laterObject().use(); });
        } },
    { "IdentifierClosure",
        [] {
            TrackerManager::shared().setQvxUuid([] {
                laterObject().use();
                return "host";
            });
        } },
    { "StopHook",
        [] { TrackerManager::shared().config("E2E")->setStopHook([] { laterObject().use(); }); } },
    { "RestartHook",
        [] {
            TrackerManager::shared().config("E2E")->setRestartHook([] { laterObject().use(); });
        } },
    { "Provider",
        [] {
            TrackerManager::shared().register_(std::make_shared<TrackerConfig>("APM", 100));
            TrackerManager::shared().setupOstra(std::make_shared<LaterProvider>());
        } },
    { "URLHook",
        [] {
            TrackerManager::shared().register_(
                std::make_shared<TrackerConfig>("MP", 1, StringDictionary(), Array(), false, [] {
                    laterObject().use();
                    return "http://127.0.0.1:1/";
                }));
        } },
    { "TimerHandler",
        [] {
            static auto& timer = *new TrackerTimer;
            timer.start(0, [] { laterObject().use(); });
        } },
    { "LogService", [] { QuorvexLog::setLogService(std::make_shared<LaterLog>()); } },
};

class LaterObjectTest : public ExitingHostTest,
                        public testing::WithParamInterface<Installation> { };

TEST_P(LaterObjectTest, AnInstallationProtectsWhatItsClosureUses)
{
    for (int round = 0; round < 5; ++round) {
        ASSERT_EQ(endOfHost([](const std::string& url) {
            installEveryClosure(url);
            TrackerManager::start();
            goOnReporting();
            while (hostObject().uses < 100)
                std::this_thread::sleep_for(1ms);
            laterObject();
            GetParam().install();
            while (laterObject().uses < 10)
                std::this_thread::sleep_for(1ms);
        }),
            "exited 0")
            << round;
    }
}

INSTANTIATE_TEST_SUITE_P(Installations, LaterObjectTest, testing::ValuesIn(installations),
    [](const auto& installation) { return std::string(installation.param.name); });

TEST_F(ExitingHostTest, TheEndOfTheProcessWaitsForAClosureThatIsRunning)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        static std::atomic<bool> isInside { false };
        hostObject();
        installEveryClosure(url);
        TrackerManager::setTriggerCallback([](const Dictionary&, const std::string&) {
            isInside = true;
            std::this_thread::sleep_for(100ms);
            hostObject().use();
        });
        TrackerManager::shared().enrollE2ETrack({ { "number", 1 } });
        while (!isInside)
            std::this_thread::sleep_for(1ms);
    }),
        "exited 0");
}

std::atomic<bool> s_triggerLogs { false };

/// Ends the process when the trigger callback logs, or is about to.
class EndingLog final : public LogService {
public:
    void loggerInit() override { }
    void log(unsigned, const std::string& message) override
    {
        if (message != "[tracker] the end")
            return;
        TrackerManager::shared().enrollE2ETrack({ { "number", 1 } });
        while (!s_triggerLogs)
            std::this_thread::sleep_for(1ms);
        std::exit(4);
    }
};

TEST_F(ExitingHostTest, TheLogServiceMayEndTheProcessWhileAClosureWaitsToLog)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        installEveryClosure(url);
        QuorvexLog::setLogService(std::make_shared<EndingLog>());
        TrackerManager::setTriggerCallback([](const Dictionary&, const std::string&) {
            s_triggerLogs = true;
            QuorvexLog::log(QuorvexLog::Category("tracker"), "line");
        });
        QuorvexLog::log(QuorvexLog::Category("tracker"), "the end");
    }),
        "exited 4");
}

std::atomic<bool> s_handlerRuns { false };
std::atomic<bool> s_handlerMayReturn { false };
std::atomic<bool> s_handlerHasReturned { false };

TEST_F(ExitingHostTest, TheEndOfTheProcessWaitsForTheDiagnosticsHandlerAndShutdownDoesNot)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        hostObject();
        // Registered before the handler is installed, as what the handler uses is made before.
        std::atexit([] {
            if (!s_handlerHasReturned)
                ::_exit(3);
        });
        installEveryClosure(url);
        TrackerManager::setDiagnosticsHandler([](const Diagnostic&) {
            s_handlerRuns = true;
            while (!s_handlerMayReturn)
                std::this_thread::sleep_for(1ms);
            std::this_thread::sleep_for(100ms);
            hostObject().use();
            s_handlerHasReturned = true;
        });
        TrackerManager::shared().setQvxUuid([]() -> std::optional<std::string> { throw 1; });
        TrackerManager::uuid();
        while (!s_handlerRuns)
            std::this_thread::sleep_for(1ms);

        if (!TrackerManager::shutdown(60s)->atRest)
            ::_exit(4);
        std::atexit([] { s_handlerMayReturn = true; });
    }),
        "exited 0");
}

TEST_F(ExitingHostTest, AnExitHandlerThatIsNewerThanTheLibrarysMayFlush)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        hostObject();
        installEveryClosure(url);
        TrackerManager::shared().enrollE2ETrack({ { "number", 1 } });
        std::atexit([] {
            if (TrackerManager::flush(60s) != FlushResult { true, 0 })
                ::_exit(3);
        });
    }),
        "exited 0");
    EXPECT_EQ(requests, 1u);
}

TEST_F(ExitingHostTest, AClosureMayEndTheProcess)
{
    EXPECT_EQ(endOfHost([](const std::string& url) {
        installEveryClosure(url);
        TrackerManager::setTriggerCallback(
            [](const Dictionary&, const std::string&) { std::exit(7); });
        TrackerManager::shared().enrollE2ETrack({ { "number", 1 } });
        std::this_thread::sleep_for(60s);
    }),
        "exited 7");
}

} // namespace
} // namespace telvora::detail
