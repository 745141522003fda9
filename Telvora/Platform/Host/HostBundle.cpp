#include <Telvora/Platform/Host/HostBundle.h>

#include <utility>

namespace telvora {

HostBundle::HostBundle(Options options)
    : m_infoDictionary(std::move(options.infoDictionary))
    , m_identifier(std::move(options.identifier))
{
    // emplace() leaves an entry that the host gave.
    if (options.name)
        m_infoDictionary->emplace("CFBundleName", *options.name);
    if (options.version)
        m_infoDictionary->emplace("CFBundleShortVersionString", *options.version);
    if (m_identifier)
        m_infoDictionary->emplace("CFBundleIdentifier", *m_identifier);
}

std::optional<Value> HostBundle::objectForInfoDictionaryKey(std::string_view key) const
{
    const Value* value = m_infoDictionary->if_contains(key);
    return value ? std::optional(copy(*value)) : std::nullopt;
}

std::optional<std::string> HostBundle::bundleIdentifier() const
{
    return m_identifier;
}

} // namespace telvora
