// What becomes of a closure that the host takes away while a call of it runs.

#include <Telvora/Base/Signal.h>
#include <Telvora/Telvora.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

using SharedSignal = std::shared_ptr<Signal>;

/// What a closure owns.
struct Owned {
    explicit Owned(SharedSignal signal)
        : destroyed(std::move(signal))
    {
    }
    ~Owned() { destroyed->set(); }

    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

    const SharedSignal destroyed;
};

struct Kind {
    const char* name;
    void (*install)(std::function<void()> closure);
    /// Makes the library call it once, on a thread of its own.
    void (*cause)();
    void (*takeAway)();
};

const Kind kinds[] {
    { "TriggerCallback",
        [](std::function<void()> closure) {
            TrackerManager::setTriggerCallback([closure = std::move(closure)](const Dictionary&,
                                                   const std::string&) { closure(); });
        },
        [] {
            TrackerManager::shared().appendTracker({ { "number", 1 } }, "nowhere");
        },
        [] { TrackerManager::setTriggerCallback({}); } },
    { "DiagnosticsHandler",
        [](std::function<void()> closure) {
            TrackerManager::setDiagnosticsHandler(
                [closure = std::move(closure)](const Diagnostic&) { closure(); });
        },
        [] {
            TrackerManager::shared().setQvxUuid(
                []() -> std::optional<std::string> { throw std::runtime_error("no"); });
            TrackerManager::uuid();
        },
        [] { TrackerManager::setDiagnosticsHandler({}); } },
};

class TakenAwayClosureTest : public testing::TestWithParam<Kind> { };

TEST_P(TakenAwayClosureTest, ACallThatRunsGoesOnAndKeepsWhatTheClosureOwns)
{
    const auto runs = std::make_shared<Signal>();
    const auto mayReturn = std::make_shared<Signal>();
    const auto destroyed = std::make_shared<Signal>();
    const auto isDestroyedDuringCall = std::make_shared<std::atomic<bool>>(true);
    GetParam().install([=, owned = std::make_shared<Owned>(destroyed)] {
        runs->set();
        mayReturn->waitFor(1h);
        *isDestroyedDuringCall = owned->destroyed->isSet();
    });
    GetParam().cause();
    ASSERT_TRUE(runs->waitFor(60s));

    GetParam().takeAway();

    EXPECT_FALSE(destroyed->isSet());
    mayReturn->set();
    EXPECT_TRUE(destroyed->waitFor(60s));
    EXPECT_FALSE(*isDestroyedDuringCall);
}

INSTANTIATE_TEST_SUITE_P(Closures, TakenAwayClosureTest, testing::ValuesIn(kinds),
    [](const auto& kind) { return std::string(kind.param.name); });

TEST(TakenAwayTriggerCallbackTest, AFlushThatReturnsAtRestHasWaitedForItsCalls)
{
    const auto runs = std::make_shared<Signal>();
    const auto hasReturned = std::make_shared<std::atomic<bool>>(false);
    TrackerManager::setTriggerCallback([=](const Dictionary&, const std::string&) {
        runs->set();
        std::this_thread::sleep_for(100ms);
        *hasReturned = true;
    });
    TrackerManager::shared().appendTracker({ { "number", 1 } }, "nowhere");
    ASSERT_TRUE(runs->waitFor(60s));

    TrackerManager::setTriggerCallback({});

    EXPECT_TRUE(TrackerManager::flush(60s)->atRest);
    EXPECT_TRUE(*hasReturned);
}

} // namespace
} // namespace telvora::detail
