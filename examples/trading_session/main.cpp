// The work of a trading application, in about twenty seconds, with a local collector that fails in
// several ways. Ends with the library's counts beside the collector's.

#include "Session.h"

#include "../reporting_provider/ReportFile.h"

#include <Telvora/Platform/Linux/LinuxPlatform.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

using namespace std::chrono_literals;

namespace {

struct Options {
    std::string collector;
    std::optional<std::string> provider;
    bool isLong = false;
    bool isFresh = false;
};

std::optional<Options> parse(int count, char** arguments)
{
    Options options;
    for (int position = 1; position < count; ++position) {
        const std::string_view argument = arguments[position];
        const bool hasValue = position + 1 < count;
        if (argument == "--long")
            options.isLong = true;
        else if (argument == "--fresh")
            options.isFresh = true;
        else if (argument == "--collector" && hasValue)
            options.collector = arguments[++position];
        else if (argument == "--provider" && hasValue)
            options.provider = arguments[++position];
        else
            return std::nullopt;
    }
    return options.collector.empty() ? std::nullopt : std::optional(options);
}

bool run(const Options& options)
{
    telvora::LinuxPlatformOptions host;
    host.applicationName = "Trading session";
    host.applicationVersion = "1.0.0";
    host.applicationIdentifier = "com.example.trading-session";
    // Never destroyed: uploads may be under way when main returns.
    auto& platform = *new telvora::LinuxPlatform(std::move(host));
    telvora::installPlatform(platform.services());

    Navigator navigator(platform.lifeCycleChecker());
    platform.screens().setKeyWindowSupplier([&navigator] { return navigator.keyWindow(); });
    std::shared_ptr<ReportFile> provider;
    if (options.provider) {
        provider = std::make_shared<ReportFile>(*options.provider);
        telvora::TrackerManager::shared().setupOstra(provider);
    }

    CollectorClient collector(options.collector);
    if (options.isFresh)
        collector.reset();
    Desk desk(options.collector, navigator, provider != nullptr);
    Session session(collector, desk);
    if (provider) {
        // The same host with a provider for its reports; the faults were shown before.
        session.trade(3s);
        session.goToBackgroundAndBack();
    } else {
        session.trade(options.isLong ? 65s : 8s);
        session.goToBackgroundAndBack();
        session.faults();
        session.trade(2s);
        session.outage();
        session.trade(2s);
    }
    session.finish();
    const bool doAgree
        = session.compareCounts(provider ? std::optional(provider->count()) : std::nullopt);
    platform.screens().setKeyWindowSupplier({});
    return doAgree;
}

} // namespace

int main(int count, char** arguments)
{
    const auto options = parse(count, arguments);
    if (!options) {
        std::fprintf(stderr,
            "usage: trading_session --collector URL [--provider FILE] [--fresh] [--long]\n");
        return 2;
    }
    try {
        return run(*options) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "trading_session: %s\n", error.what());
        return 1;
    }
}
