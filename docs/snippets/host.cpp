// [host]
#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Telvora.h>

using namespace telvora;

void startTelemetry(const std::string& collector)
{
    LinuxPlatformOptions options;
    options.applicationVersion = "1.4.2";
    options.applicationIdentifier = "com.example.trading";
    installPlatform((new LinuxPlatform(options))->services()); // stays to the end

    TrackerManager& manager = TrackerManager::shared();
    manager.setQvxUuid([] { return std::optional<std::string>("installation-42"); });
    for (const std::string index : { "APM", "MP", "E2E", "Sentry" }) {
        const auto url = [=] { return collector + "/" + index; };
        manager.register_(
            std::make_shared<TrackerConfig>(index, 20, StringDictionary(), Array(), false, url));
    }
    manager.setupCommonVendelDatas(); // the common data of "APM"
    manager.setupCommonMPDatas();
    manager.setupCommonE2EDatas();
    manager.setupCommonSentryDatas(true, false);

    TrackerManager::start();
    TrackerDataExcavator::initial();
    TrackerDataLifeCycleMonitor::setup();
}

void submitOrder()
{
    TrackerManager& manager = TrackerManager::shared();
    manager.enrollE2ETrack({ { "name", "order.submit" }, { "ms", 12.5 } });
    manager.enrollSlowFrameTrack(0.048, 16.0, "TradeViewController");
}
// [host]

// [builder]
void showQuote(double price)
{
    EventBuilder event(2);
    event.set("name", "quote.shown").set("price", price);
    TrackerManager::shared().enrollMPTrack(std::move(event));
}
// [builder]

#include <chrono>
#include <iostream>
#include <thread>

// No server listens on port 1. Events that cannot be sent are kept, and the process ends without
// waiting for them.
int main()
{
    startTelemetry("http://127.0.0.1:1");
    submitOrder();
    showQuote(104.25);

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    const auto hasArrived = [](const char* index) {
        return TrackerManager::shared().ledger(index)->events.accepted == 1;
    };
    while (!hasArrived("E2E") || !hasArrived("MP") || !hasArrived("APM")) {
        if (std::chrono::steady_clock::now() > deadline)
            return 1;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::cout << encode(TrackerManager::shared().ledgersDictionary()).value() << '\n';
}
