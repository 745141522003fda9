#include <Telvora/Classes/Model/TrackNetworkStatus.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Base/Lazy.h>
#include <Telvora/Base/OnceValue.h>
#include <Telvora/Platform/Device.h>
#include <Telvora/Platform/Platform.h>
#include <Telvora/Platform/Telephony.h>

#include <charconv>
#include <string_view>

namespace telvora {

namespace {

using Type = TrackNetworkStatusType;

struct Values {
    detail::OnceValue<bool> has5G;
    detail::OnceValue<bool> isEarlierThanIPhone12;
};

Values& values()
{
    static constinit detail::Lazy<Values> values;
    return values.get([] { return new Values; });
}

struct CellularType {
    std::string_view technology;
    Type type;
};

constexpr CellularType cellularTypes[] = {
    { "CTRadioAccessTechnologyGPRS", Type::network_2g },
    { "CTRadioAccessTechnologyEdge", Type::network_2g },
    { "CTRadioAccessTechnologyWCDMA", Type::network_3g },
    { "CTRadioAccessTechnologyHSDPA", Type::network_3g },
    { "CTRadioAccessTechnologyHSUPA", Type::network_3g },
    { "CTRadioAccessTechnologyCDMA1x", Type::network_3g },
    { "CTRadioAccessTechnologyCDMAEVDORev0", Type::network_3g },
    { "CTRadioAccessTechnologyCDMAEVDORevA", Type::network_3g },
    { "CTRadioAccessTechnologyCDMAEVDORevB", Type::network_3g },
    { "CTRadioAccessTechnologyeHRPD", Type::network_3g },
    { "CTRadioAccessTechnologyLTE", Type::network_4g },
    { "CTRadioAccessTechnologyNRNSA", Type::network_5g },
    { "CTRadioAccessTechnologyNR", Type::network_5g },
};

// Whether the device knows the last two.
bool probeHas5G()
{
    return platform().device.isSystemVersionAtLeast(14, 1) && !isEarlierThanIPhone12();
}

// "iPhone13,2" -> "13,2" -> "13". Only commas separate pieces, and empty pieces are skipped.
std::optional<std::string> firstPieceOfModel(std::string identifier)
{
    static constexpr std::string_view maker = "iPhone";
    for (std::size_t at = identifier.find(maker); at != std::string::npos;
         at = identifier.find(maker, at))
        identifier.erase(at, maker.size());

    const std::size_t start = identifier.find_first_not_of(',');
    if (start == std::string::npos)
        return std::nullopt;
    return identifier.substr(start, identifier.find(',', start) - start);
}

bool probeEarlierThanIPhone12()
{
    const Device& device = platform().device;
    if (device.userInterfaceIdiom() != UserInterfaceIdiom::phone)
        return false;
    const auto piece = firstPieceOfModel(device.identifier());
    if (!piece)
        return false;

    std::int64_t number = 0;
    const char* end = piece->data() + piece->size();
    const auto [stop, error] = std::from_chars(piece->data(), end, number);
    const bool isNumber = error == std::errc() && stop == end;
    return !isNumber || number < 13;
}

Type bestCellularType()
{
    std::optional<Type> best;
    const auto technologies = platform().telephony.serviceCurrentRadioAccessTechnology();
    if (!technologies)
        return Type::unknown;
    for (const auto& [service, technology] : *technologies) {
        const auto type = cellularType(technology);
        if (!type)
            continue;
        if (!best || cellularRank(*best) < cellularRank(*type))
            best = type;
    }
    return best.value_or(Type::unknown);
}

} // namespace

std::optional<Type> cellularType(std::string_view technology)
{
    const bool has5G = values().has5G.get(probeHas5G);
    for (const CellularType& known : cellularTypes) {
        if (known.technology == technology && (has5G || known.type != Type::network_5g))
            return known.type;
    }
    return std::nullopt;
}

std::optional<int> cellularRank(Type type)
{
    switch (type) {
    case Type::network_2g:
        return 0;
    case Type::network_3g:
        return 1;
    case Type::network_4g:
        return 2;
    case Type::network_5g:
        return 3;
    case Type::network_wifi:
    case Type::unknown:
    case Type::none:
        return std::nullopt;
    }
    return std::nullopt;
}

bool isEarlierThanIPhone12()
{
    return values().isEarlierThanIPhone12.get(probeEarlierThanIPhone12);
}

TrackNetworkStatus TrackNetworkStatus::of(Reachability::Connection connection)
{
    switch (connection) {
    case Reachability::Connection::none:
        return { false, Type::none };
    case Reachability::Connection::wifi:
        return { true, Type::network_wifi };
    case Reachability::Connection::cellular:
        break;
    }
    return { true, bestCellularType() };
}

std::string TrackNetworkStatus::encode() const
{
    Dictionary dictionary;
    dictionary[NetworkStatusCodingKey::isConnected] = isConnected;
    dictionary[NetworkStatusCodingKey::networkType] = rawValue(networkType);
    return *telvora::encode(dictionary);
}

std::optional<TrackNetworkStatus> TrackNetworkStatus::decode(std::string_view text)
{
    const Decoded decoded = telvora::decode(text);
    const Dictionary* dictionary = decoded.value ? decoded.value->if_object() : nullptr;
    if (!dictionary)
        return std::nullopt;
    const Value* isConnected = dictionary->if_contains(NetworkStatusCodingKey::isConnected);
    const Value* typeText = dictionary->if_contains(NetworkStatusCodingKey::networkType);
    if (!isConnected || !isConnected->is_bool() || !typeText || !typeText->is_string())
        return std::nullopt;
    const auto type = trackNetworkStatusType(typeText->get_string());
    if (!type)
        return std::nullopt;
    return TrackNetworkStatus { isConnected->get_bool(), *type };
}

CommonTrackNetworkStatus::CommonTrackNetworkStatus()
    : m_reachability(platform().reachability.makeReachability(ReachabilityService::Use::held))
{
}

CommonTrackNetworkStatus::~CommonTrackNetworkStatus()
{
    if (m_reachability)
        m_reachability->stopNotifier();
}

void CommonTrackNetworkStatus::onStatusChange(Handler handler)
{
    if (!m_reachability || !handler)
        return;
    detail::noteHostClosure();
    // Passes the present connection, which may be newer than the change that caused the call.
    const auto onChange = [&reachability = *m_reachability, handler = std::move(handler)](
                              Reachability::Connection) {
        detail::callHost([&] { handler(TrackNetworkStatus::of(reachability.connection())); },
            { "A network status handler" });
    };
    m_reachability->setWhenReachable(onChange);
    m_reachability->setWhenUnreachable(onChange);
}

} // namespace telvora
