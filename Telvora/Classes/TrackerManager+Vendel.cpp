#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Classes/Model/CommonTrackerModel.h>
#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Platform/Bundle.h>
#include <Telvora/Platform/Platform.h>

namespace telvora {

void TrackerManager::setupCommonVendelDatas()
{
    setupCommonDatas(standardCommonData(), "data", rawValue(DefaultIndex::APM));
}

// The front-end monitor's collector reads other names for what the standard common data call
// "version", "root", "os" and "appId".
void TrackerManager::setupFEMonitor()
{
    if (isRetired())
        return;
    Dictionary dictionary = TrackerWrapper().asDictionary();
    if (const auto systemVersion = TrackerDataExcavator::systemVersion())
        dictionary["system-version"] = *systemVersion;
    if (const auto bundleIdentifier = platform().bundle.bundleIdentifier())
        dictionary["bundleId"] = *bundleIdentifier;
    setupCommonDatas(std::move(dictionary), "data-list", rawValue(DefaultIndex::Sentry));
}

} // namespace telvora
