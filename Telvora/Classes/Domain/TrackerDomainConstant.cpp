#include <Telvora/Classes/Domain/TrackerDomainConstant.h>

#include <array>
#include <cstddef>

namespace telvora {

namespace {

// In the order of the enumerations.
constexpr std::array<std::string_view, 4> indexValues { "APM", "MP", "E2E", "Sentry" };

constexpr std::array<std::string_view, 7> statusValues { "2G", "3G", "4G", "5G", "WIFI", "unknown",
    "none" };

constexpr std::array<std::string_view, 7> statusNames { "network_2g", "network_3g", "network_4g",
    "network_5g", "network_wifi", "unknown", "none" };

template<typename Enumeration, std::size_t count>
std::optional<Enumeration> find(
    const std::array<std::string_view, count>& values, std::string_view rawValue)
{
    for (std::size_t position = 0; position < count; ++position) {
        if (values[position] == rawValue)
            return static_cast<Enumeration>(position);
    }
    return std::nullopt;
}

template<typename Enumeration, std::size_t count>
std::string_view textOf(const std::array<std::string_view, count>& values, Enumeration enumeration)
{
    const auto position = static_cast<std::size_t>(enumeration);
    return position < count ? values[position] : std::string_view();
}

} // namespace

std::string_view rawValue(DefaultIndex index)
{
    return textOf(indexValues, index);
}

std::optional<DefaultIndex> defaultIndex(std::string_view rawValue)
{
    return find<DefaultIndex>(indexValues, rawValue);
}

std::string_view rawValue(TrackNetworkStatusType type)
{
    return textOf(statusValues, type);
}

std::string_view caseName(TrackNetworkStatusType type)
{
    return textOf(statusNames, type);
}

std::optional<TrackNetworkStatusType> trackNetworkStatusType(std::string_view rawValue)
{
    return find<TrackNetworkStatusType>(statusValues, rawValue);
}

} // namespace telvora
