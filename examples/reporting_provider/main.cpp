// A host that gives its APM reports to a service of its own instead of a collector: here a file,
// one JSON text a line. "APM" is the only channel, and nothing is sent.

#include "ReportFile.h"

#include <Telvora/StartTelvora.h>

#include <chrono>
#include <cstdio>
#include <memory>

using namespace std::chrono_literals;

namespace {

// A few measurements, as an application makes them.
void reportSomeMoments(telvora::TrackerManager& manager)
{
    const auto page = "MarketsViewController";
    manager.enrollLaunchTrack({ .fp = 180ms, .ct = 412ms, .ht = 95ms });
    manager.enrollFirstFrameTrack({ .time = 16667us, .page = page });
    manager.enrollPageViewTrack(page);
    manager.enrollLCPTrack({ .init = 12ms,
        .render = 48ms,
        .request = 130ms,
        .firstFrame = 60ms,
        .total = 250ms,
        .page = page });
    manager.enrollSlowFrameTrack({ .slow = 34ms, .total = 1s, .page = "TradeViewController" });
    manager.enrollSkarnTrack("main\nrunLoop\nlayout", "97%");
    manager.reportAPMDict({ { "t", "FPS" }, { "fps", 58 }, { "cs", "warm" } });
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 2) {
        std::fprintf(stderr, "usage: reporting_provider FILE\n");
        return 2;
    }

    // Reports contain the channel's common data, so there must be the channel. It needs no address,
    // because nothing is sent.
    const auto reports = std::make_shared<ReportFile>(arguments[1]);
    const auto result = telvora::startTelvora(
        {
            .channels = { { .index = "APM", .standardData = telvora::StandardData::standard } },
            .identifier = [] { return "0B5E1A52-7B1C-4F0E-9C57-0F4E2D3A6B91"; },
            .reportingProvider = reports,
        },
        {
            .applicationName = "Reporting provider",
            .applicationVersion = "1.0.0",
            .applicationIdentifier = "com.example.reporting-provider",
        });
    if (!result) {
        std::fputs(result.text().c_str(), stderr);
        return 1;
    }

    auto& manager = telvora::TrackerManager::shared();
    reportSomeMoments(manager);

    manager.setupOstra(nullptr);
    std::printf("%lld reports in %s\n", static_cast<long long>(reports->count()), arguments[1]);
    return reports->count() == 7 ? 0 : 1;
}
