#include <Telvora/Classes/Model/CommonTrackerModel.h>

#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Platform/Bundle.h>
#include <Telvora/Platform/Platform.h>

namespace telvora {

CommonTrackerModel::CommonTrackerModel()
    : brand(TrackerDataExcavator::modelName())
    , version(TrackerDataExcavator::appVersion())
    , root(TrackerDataExcavator::jailbreaked())
    , operator_(TrackerDataExcavator::mobileOperator())
    , os(TrackerDataExcavator::systemVersion())
    , appId(platform().bundle.bundleIdentifier())
{
}

TrackerWrapper::TrackerWrapper()
    : brand(TrackerDataExcavator::modelName())
    , appVersion(TrackerDataExcavator::appVersion())
    , jailbreaked(TrackerDataExcavator::jailbreaked())
    , operator_(TrackerDataExcavator::mobileOperator())
{
}

} // namespace telvora
