#pragma once

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Platform/Bundle.h>

namespace telvora {

/// A Bundle from the host's options, for a system that has no description of a program.
class TELVORA_EXPORT HostBundle final : public Bundle {
public:
    /// What the host says of itself.
    struct Options {
        /// The name, as users know it: "CFBundleName"; absent unless the host gives one.
        std::optional<std::string> name;
        /// "CFBundleShortVersionString"; absent unless the host gives one.
        std::optional<std::string> version;
        /// "com.example.host"; absent unless the host gives one. The program's name does not
        /// replace it.
        std::optional<std::string> identifier;
        /// More entries of the information dictionary. One with the key of a value above replaces
        /// that value there ("CFBundleIdentifier" is the identifier's), but bundleIdentifier()
        /// still returns `identifier`.
        Dictionary infoDictionary;
    };

    /// Keeps `options`; they do not change.
    explicit HostBundle(Options options);

    std::optional<Value> objectForInfoDictionaryKey(std::string_view key) const override;
    std::optional<std::string> bundleIdentifier() const override;

private:
    detail::AnyDepth<Dictionary> m_infoDictionary;
    std::optional<std::string> m_identifier;
};

} // namespace telvora
