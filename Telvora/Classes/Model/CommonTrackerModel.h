#pragma once

#include <Telvora/Base/DataAsDict.h>
#include <Telvora/Base/Export.h>

#include <boost/describe/class.hpp>

#include <optional>
#include <string>

namespace telvora {

/// What the standard common data of the E2E, MP, Sentry and APM channels say of device and
/// application. As a dictionary it always has eight keys; an absent value is null.
///
/// Life: filled when made, from the values that TrackerDataExcavator keeps.
/// Threads: a value without a lock.
struct TELVORA_EXPORT CommonTrackerModel : DataAsDict<CommonTrackerModel> {
    /// The model of the device: TrackerDataExcavator::modelName().
    std::optional<std::string> brand;
    /// The application's version; absent when the bundle has none.
    std::optional<std::string> version;
    /// Whether the device shows signs of a modified system.
    bool root;
    /// The mobile operator (carrier), or "None". Key: "operator".
    std::string operator_;
    /// The version of this schema.
    std::string sVersion = "1.0";
    /// The system's version, such as "17.2".
    std::optional<std::string> os;
    /// The bundle's identifier, read when the record is made; absent when the bundle has none.
    std::optional<std::string> appId;
    /// Deliberate: "ios" on every system. The collectors know this library by that name.
    std::string client = "ios";

    CommonTrackerModel();
};

/// What the front-end monitor's common data say of the device. As a dictionary it always has four
/// keys; an absent value is null.
///
/// Life and threads: as for CommonTrackerModel.
struct TELVORA_EXPORT TrackerWrapper : DataAsDict<TrackerWrapper> {
    /// The model of the device: TrackerDataExcavator::modelName().
    std::optional<std::string> brand;
    /// The application's version; absent when the bundle has none.
    std::optional<std::string> appVersion;
    /// Whether the device shows signs of a modified system.
    bool jailbreaked;
    /// The mobile operator (carrier), or "None". Key: "operator".
    std::string operator_;

    TrackerWrapper();
};

BOOST_DESCRIBE_STRUCT(
    CommonTrackerModel, (), (brand, version, root, operator_, sVersion, os, appId, client))
BOOST_DESCRIBE_STRUCT(TrackerWrapper, (), (brand, appVersion, jailbreaked, operator_))

} // namespace telvora
