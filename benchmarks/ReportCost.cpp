// The cost of the reporting calls for their caller, each beside the part that it cannot avoid: an
// event with its network field beside a plain append, a record beside the same dictionary built by
// hand, a report through a provider beside encoding the same text, a change of page beside the walk
// to its screen.

#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Classes/Model/TrackerDataLifeCycleTrace.h>
#include <Telvora/Telvora.h>

#include <benchmarks/AnsweringPlatform.h>
#include <benchmarks/Costs.h>
#include <benchmarks/Figures.h>
#include <benchmarks/SampleEvent.h>

#include <atomic>
#include <cstdlib>
#include <iostream>

namespace telvora {
namespace {

class Screen : public UIViewController {
public:
    std::string className() const override { return "TradeViewController"; }
    std::string sceneName() const override { return "Trading.TradePage"; }
};

class NavigationScreen final : public Screen {
public:
    explicit NavigationScreen(std::shared_ptr<UIViewController> visible)
        : m_visible(std::move(visible))
    {
    }
    Kind kind() const override { return Kind::navigation; }
    std::shared_ptr<UIViewController> visibleViewController() const override { return m_visible; }

private:
    std::shared_ptr<UIViewController> m_visible;
};

class Window final : public UIWindow {
public:
    explicit Window(std::shared_ptr<UIViewController> root)
        : m_root(std::move(root))
    {
    }
    std::shared_ptr<UIViewController> rootViewController() const override { return m_root; }

private:
    std::shared_ptr<UIViewController> m_root;
};

/// Adds up the lengths of the reports and drops their texts.
class LengthProvider final : public QVXOstraProviderProtocol {
public:
    void report(const std::string&, const std::string& content) override
    {
        m_bytes.fetch_add(content.size(), std::memory_order_relaxed);
    }

private:
    std::atomic<std::size_t> m_bytes { 0 };
};

/// The 33 keys of a slow frame's record with the values that the report gives them.
Dictionary makeRecordByHand(double at, double ct, const std::string& page)
{
    Dictionary record;
    record.reserve(33);
    record.emplace("t", "SLOW-FRAME");
    record.emplace("d", 1'760'000'000.25);
    record.emplace("f", nullptr);
    record.emplace("p", page);
    for (const char* key : { "ci", "batr" })
        record.emplace(key, nullptr);
    record.emplace("wifi", true);
    for (const char* key : { "scb", "si" })
        record.emplace(key, nullptr);
    record.emplace("ct", ct);
    record.emplace("at", at);
    record.emplace("pageExpend", nullptr);
    for (const char* key : { "fcp", "pt", "reqt", "ft", "fpt", "fp", "dcl", "ht" })
        record.emplace(key, 0.0);
    for (const char* key : { "u", "wt", "s", "bc", "wt_s", "status", "network", "msg_id",
             "content_type", "c", "cs", "extra" })
        record.emplace(key, nullptr);
    record.emplace("ipaMode", "RELEASE");
    return record;
}

Dictionary makeRecord(int number)
{
    return makeRecordByHand(0.032 + number % 7, 16.0, "TradeViewController");
}

std::string makePage(int)
{
    return "TradeViewController";
}

class Bench {
public:
    Bench(int threads, int calls)
        : m_threads(threads)
        , m_calls(calls / threads)
    {
    }

    template<typename Prepare, typename Call>
    void run(const std::string& name, const Prepare& prepare, const Call& call) const
    {
        std::vector<std::int64_t> costs;
        for (int round = 0; round < 3; ++round) {
            measureCalls(m_threads, m_calls, prepare, call, costs);
            waitUntil("the intake to catch up", [] {
                static std::int64_t before = -1;
                std::int64_t now = 0;
                for (const auto& [index, account] : TrackerManager::shared().ledgers())
                    now += account.events.accepted + account.events.delivered;
                return std::exchange(before, now) == now;
            });
        }
        printPercentiles("report." + std::to_string(m_threads) + "." + name, costs);
    }

private:
    int m_threads;
    int m_calls;
};

void registerChannels()
{
    TrackerManager& manager = TrackerManager::shared();
    for (const std::string index : { "APM", "E2E" }) {
        manager.register_(std::make_shared<TrackerConfig>(
            index, 100, StringDictionary(), Array(), false, [] { return "/"; }));
        manager.setupCommonDatas(makeSampleCommonData(), "data", index);
    }
}

void measureEvents(const Bench& bench)
{
    TrackerManager& manager = TrackerManager::shared();
    const auto append = [&](Dictionary&& event) { manager.appendTracker(std::move(event), "E2E"); };
    const auto enroll = [&](Dictionary&& event) { manager.enrollE2ETrack(std::move(event)); };
    bench.run("append", makeSampleEvent, append);
    bench.run("enrollE2E", makeSampleEvent, enroll);
}

// A record built by hand is destroyed by the next assignment, while the clock runs: a reported
// record is destroyed as well, though by another thread.
thread_local Dictionary t_built;

void measureRecords(const Bench& bench)
{
    TrackerManager& manager = TrackerManager::shared();
    bench.run("buildByHand", makePage,
        [](std::string&& page) { t_built = makeRecordByHand(0.048, 16.0, page); });
    bench.run("slowFrame", makePage,
        [&](std::string&& page) { manager.enrollSlowFrameTrack(0.048, 16.0, std::move(page)); });
    bench.run("reportAPMDict", makeRecord,
        [&](Dictionary&& record) { manager.reportAPMDict(std::move(record)); });
}

void measureProvider(const Bench& bench)
{
    TrackerManager& manager = TrackerManager::shared();
    Dictionary merged = makeSampleCommonData();
    for (const auto& member : makeRecord(0))
        merged[member.key()] = member.value();
    std::atomic<std::size_t> bytes { 0 };

    bench.run("encode", makeRecord,
        [&](Dictionary&&) { bytes.fetch_add(encode(merged)->size(), std::memory_order_relaxed); });
    manager.setupOstra(std::make_shared<LengthProvider>());
    bench.run("provider", makeRecord,
        [&](Dictionary&& record) { manager.reportAPMDict(std::move(record)); });
    bench.run("providerRecord", makePage,
        [&](std::string&& page) { manager.enrollSlowFrameTrack(0.048, 16.0, std::move(page)); });
    bench.run("providerWrapped", makeRecord,
        [&](Dictionary&& record) { manager.wrapAppendTracker(std::move(record)); });
    manager.setupOstra(nullptr);
}

// On one thread, as pages change.
void measurePages(int calls)
{
    const Bench bench(1, calls);
    const auto screen = std::make_shared<Screen>();
    const auto trace = TrackerDataLifeCycleTrace::create(screen->sceneName());
    trace->setScene(screen);
    // Each change starts after all work of the previous one has ended.
    const auto nothing = [](int) {
        TrackerDataExcavator::setIsTransitioning(false);
        return 0;
    };
    bench.run("walk", nothing, [](int) { UIWindow::trackerTopViewControllerInfo(); });
    bench.run("pageChange", nothing, [&](int) {
        trace->activeActionHandler(
            LifeCycleTraceOccasion::viewDidDisappear, LifeCycleTraceState::after);
        trace->activeActionHandler(
            LifeCycleTraceOccasion::viewDidAppear, LifeCycleTraceState::after);
    });
}

} // namespace
} // namespace telvora

int main(int count, char** values)
{
    using namespace telvora;
    const Arguments arguments(count, values);
    const int calls = static_cast<int>(arguments.number("--calls", 60'000));

    checkSampleEvent();
    const auto window
        = std::make_shared<Window>(std::make_shared<NavigationScreen>(std::make_shared<Screen>()));
    LinuxPlatformOptions options;
    options.keyWindow = [window] { return window; };
    installAnsweringPlatform(std::move(options));
    // After the platform: a record reads its clock.
    if (makeRecord(0).size() != 33
        || TrackerMeta(TrackerMeta::T("FPS")).asDictionary().size() != 33) {
        std::cerr << "A record no longer has 33 keys\n";
        return 1;
    }
    registerChannels();
    for (const int threads : { 1, 4 }) {
        const Bench bench(threads, calls);
        measureEvents(bench);
        measureRecords(bench);
        measureProvider(bench);
    }
    measurePages(calls / 20);
}
