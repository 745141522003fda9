// A host that gives its APM reports to a service of its own instead of a collector: here a file,
// one JSON text a line. "APM" is the only channel, and nothing is sent.

#include "ReportFile.h"

#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Telvora.h>

#include <cstdio>
#include <ctime>
#include <memory>

namespace {

// A few measurements, as an application makes them.
void reportSomeMoments(telvora::TrackerManager& manager)
{
    // The host sets the time of a launch ("d", seconds since 1970); without it the time would be 0.
    manager.enrollLaunchTrack({ { "d", static_cast<double>(std::time(nullptr)) }, { "ct", 412.5 },
        { "fp", 180.0 }, { "ht", 95.0 } });
    manager.enrollFirstFrameTrack(16.6667, "MarketsViewController");
    manager.enrollPageViewTrack("MarketsViewController");
    manager.enrollLCPTrack(0, 12.5, 48.0, 130.25, 60.0, 250.75, "MarketsViewController");
    manager.enrollSlowFrameTrack(34.0, 1000.0, "TradeViewController");
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

    telvora::LinuxPlatformOptions host;
    host.applicationName = "Reporting provider";
    host.applicationVersion = "1.0.0";
    host.applicationIdentifier = "com.example.reporting-provider";
    // The library uses it to the end of the process.
    auto& platform = *new telvora::LinuxPlatform(std::move(host));
    telvora::installPlatform(platform.services());

    auto& manager = telvora::TrackerManager::shared();
    // Reports contain the channel's common data, so the channel must be registered. It needs no
    // address, because nothing is sent.
    manager.register_(std::make_shared<telvora::TrackerConfig>("APM", 50));
    manager.setQvxUuid([] { return "0B5E1A52-7B1C-4F0E-9C57-0F4E2D3A6B91"; });
    manager.setupCommonVendelDatas();
    const auto reports = std::make_shared<ReportFile>(arguments[1]);
    manager.setupOstra(reports);

    reportSomeMoments(manager);

    manager.setupOstra(nullptr);
    std::printf("%lld reports in %s\n", static_cast<long long>(reports->count()), arguments[1]);
    return reports->count() == 7 ? 0 : 1;
}
