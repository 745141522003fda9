#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Base/UUIDText.h>
#include <Telvora/Classes/Model/CommonTrackerModel.h>
#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Platform/Platform.h>
#include <Telvora/Platform/UUIDSource.h>

namespace telvora {

std::string_view TrackerManager::getCurrentNetWorkStatus()
{
    const Reachability* reachability = isRetired() ? nullptr : m_networkStatus.reachability();
    if (!reachability)
        return rawValue(TrackNetworkStatusType::unknown);
    return rawValue(TrackNetworkStatus::of(reachability->connection()).networkType);
}

void TrackerManager::updateTracker(std::vector<std::string> list)
{
    if (!isRetired())
        TrackerDataExcavator::setMonitorViewControllerWhiteList(std::move(list));
}

// The common data of E2E, MP, APM and standard Sentry batches.
Dictionary TrackerManager::standardCommonData()
{
    if (isRetired())
        return {};
    Dictionary dictionary = CommonTrackerModel().asDictionary();
    if (const auto identifier = uuid())
        dictionary["buid"] = *identifier;
    dictionary["session"] = uuidText(platform().uuids.next());
    return dictionary;
}

void TrackerManager::stampNetwork(Dictionary& event, std::string_view status)
{
    const auto [network, isNew] = event.emplace("network", status);
    if (isNew)
        return;
    // The host's own value may be of any depth.
    dispose(std::move(network->value()));
    network->value() = Value(status, event.storage());
}

} // namespace telvora
