// From the first event appended to the last one answered, with a collector that checks nothing:
// events per second, and the processor time of this process. One contender a process, so that
// neither runs with the other's heap. One thread builds and appends; with both contenders it waits
// while more than `--most-under-way` events are not answered yet.

#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Telvora.h>

#include <benchmarks/BareLoop.h>
#include <benchmarks/Figures.h>
#include <benchmarks/Percentiles.h>
#include <benchmarks/SampleEvent.h>
#include <benchmarks/SinkCollector.h>

#include <iostream>
#include <sys/resource.h>

namespace telvora {
namespace {

constexpr int limit = 100;

double processorSeconds()
{
    rusage used {};
    ::getrusage(RUSAGE_SELF, &used);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

// `build` makes the event of a number.
template<auto build> class TelvoraContender {
public:
    explicit TelvoraContender(const std::string& url)
    {
        LinuxPlatformOptions options;
        options.applicationVersion = "1.4.2";
        installPlatform((new LinuxPlatform(std::move(options)))->services());
        TrackerManager& manager = TrackerManager::shared();
        manager.setQvxUuid([] { return std::optional<std::string>("installation-42"); });
        manager.register_(std::make_shared<TrackerConfig>(
            "E2E", limit, StringDictionary(), Array(), false, [url] { return url; }));
        manager.setupCommonDatas(makeSampleCommonData(), "data", "E2E");
        TrackerManager::start();
    }
    void append(int number) { TrackerManager::shared().appendTracker(build(number), "E2E"); }
    long delivered() const
    {
        const LedgerAccount account = TrackerManager::shared().ledger("E2E")->events;
        if (account.dropped.total() + account.waiting > 0) {
            std::cerr << "an event was dropped or has to be retried\n";
            std::_Exit(1);
        }
        return account.delivered;
    }
};

class BareContender : public BareLoop {
public:
    using BareLoop::BareLoop;
    void append(int number) { BareLoop::append(makeSampleEvent(number)); }
};

template<typename Contender>
void measure(Contender& contender, const std::string& name, const SinkCollector& collector,
    long events, long mostUnderWay)
{
    const double processorBefore = processorSeconds();
    const std::int64_t start = nanosecondsNow();
    for (long number = 0; number < events; ++number) {
        contender.append(static_cast<int>(number));
        if (number % 1000 == 0) {
            waitUntil("the backlog to shrink",
                [&] { return number - contender.delivered() < mostUnderWay; });
        }
    }
    waitUntil("the last event", [&] { return contender.delivered() == events; });
    const double seconds = static_cast<double>(nanosecondsNow() - start) / 1e9;
    const double processor = processorSeconds() - processorBefore;

    const SinkCollector::Counts counts = collector.countsAfter(events / limit);
    if (counts.requests != events / limit) {
        std::cerr << "the collector counts " << counts.requests << " requests\n";
        std::_Exit(1);
    }
    rusage used {};
    ::getrusage(RUSAGE_SELF, &used);
    printFigure("endToEnd." + name + ".eventsPerSecond", static_cast<double>(events) / seconds);
    printFigure(
        "endToEnd." + name + ".processorSeconds", processor * 1e6 / static_cast<double>(events));
    printFigure("endToEnd." + name + ".peakMemory", static_cast<double>(used.ru_maxrss) / 1024);
    printFigure("endToEnd." + name + ".bodyBytes",
        static_cast<double>(counts.bytes) / static_cast<double>(counts.requests));
}

} // namespace
} // namespace telvora

int main(int count, char** values)
{
    using namespace telvora;
    const Arguments arguments(count, values);
    const std::string name = arguments.text("--contender", "telvora");
    const long events = arguments.number("--events", 300'000) / limit * limit;

    const long mostUnderWay = arguments.number("--most-under-way", 50'000);

    checkSampleEvent();
    const SinkCollector collector(arguments.text("--collector"));
    const std::string url = collector.address() + "/e2e";
    if (name == "bare") {
        BareContender bare(url);
        measure(bare, name, collector, events, mostUnderWay);
    } else if (name == "plain") {
        TelvoraContender<makeSampleEvent> plain(url);
        measure(plain, name, collector, events, mostUnderWay);
    } else {
        TelvoraContender<buildSampleEvent> telvora(url);
        measure(telvora, name, collector, events, mostUnderWay);
    }
}
