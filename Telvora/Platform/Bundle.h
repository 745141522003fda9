#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>

#include <optional>
#include <string>
#include <string_view>

namespace telvora {

/// The host application's description of itself.
///
/// Used by TrackerDataExcavator and TrackerNetwork (the version), CommonTrackerModel and
/// TrackerManager (the identifier).
///
/// Threads: any.
/// Implementations: Host/HostBundle (from the host's options), Simulated/ScriptedBundle.
class TELVORA_EXPORT Bundle {
public:
    virtual ~Bundle() = default;

    /// The entry of the information dictionary, of any type; absent if there is none.
    /// The version is under "CFBundleShortVersionString".
    virtual std::optional<Value> objectForInfoDictionaryKey(std::string_view key) const = 0;

    /// "com.example.host"; absent when the host gave none.
    virtual std::optional<std::string> bundleIdentifier() const = 0;
};

} // namespace telvora
