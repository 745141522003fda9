#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>

#include <optional>
#include <string>
#include <string_view>

namespace telvora {

/// What the host application says of itself.
///
/// Threads: any.
/// Implementations: Host/HostBundle (from the host's options), Simulated/ScriptedBundle.
class TELVORA_EXPORT Bundle {
public:
    virtual ~Bundle() = default;

    /// The entry of the information dictionary, of whatever type it is; absent without one.
    /// The version is under "CFBundleShortVersionString".
    virtual std::optional<Value> objectForInfoDictionaryKey(std::string_view key) const = 0;

    /// "com.example.host"; absent when the host gave none.
    virtual std::optional<std::string> bundleIdentifier() const = 0;
};

} // namespace telvora
