// [by-hand]
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
// [by-hand]

// Nothing listens on port 1, and nothing is handed over.
int main()
{
    startTelemetry("http://127.0.0.1:1");
    return TrackerManager::shared().ledgers().size() == 5 ? 0 : 1;
}
