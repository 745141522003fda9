#pragma once

#include <Telvora/Platform/Bundle.h>

namespace telvora {

/// What the host's options say of the application, since Linux keeps no such record of a program.
class TELVORA_EXPORT HostBundle final : public Bundle {
public:
    struct Options {
        /// For people: "CFBundleName".
        std::optional<std::string> name;
        /// "CFBundleShortVersionString"; absent unless the host gives one.
        std::optional<std::string> version;
        /// "com.example.host"; absent unless the host gives one. A program's name is none.
        std::optional<std::string> identifier;
        /// More entries of the information dictionary; they go before the three above.
        Dictionary infoDictionary;
    };

    explicit HostBundle(Options options);

    std::optional<Value> objectForInfoDictionaryKey(std::string_view key) const override;
    std::optional<std::string> bundleIdentifier() const override;

private:
    Dictionary m_infoDictionary;
    std::optional<std::string> m_identifier;
};

} // namespace telvora
