#pragma once

#include <Telvora/Base/DataAsDict.h>
#include <Telvora/Base/Export.h>

#include <boost/describe/class.hpp>

#include <optional>
#include <string>

namespace telvora {

/// The common data of the E2E, MP, Sentry and APM channels, filled when made. Always eight keys as
/// a dictionary.
struct TELVORA_EXPORT CommonTrackerModel : DataAsDict<CommonTrackerModel> {
    std::optional<std::string> brand;
    std::optional<std::string> version;
    bool root;
    std::string operator_;
    /// The version of this schema.
    std::string sVersion = "1.0";
    std::optional<std::string> os;
    std::optional<std::string> appId;
    std::string client = "ios";

    CommonTrackerModel();
};

/// The device's part of the front-end monitor's data, filled when made. Always four keys.
struct TELVORA_EXPORT TrackerWrapper : DataAsDict<TrackerWrapper> {
    std::optional<std::string> brand;
    std::optional<std::string> appVersion;
    bool jailbreaked;
    std::string operator_;

    TrackerWrapper();
};

BOOST_DESCRIBE_STRUCT(
    CommonTrackerModel, (), (brand, version, root, operator_, sVersion, os, appId, client))
BOOST_DESCRIBE_STRUCT(TrackerWrapper, (), (brand, appVersion, jailbreaked, operator_))

} // namespace telvora
