#include <Telvora/Platform/Linux/Network/NetworkSnapshot.h>

#include <algorithm>
#include <cstring>
#include <tuple>
#include <utility>

#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

namespace telvora::detail {

namespace {

// The part of a message after its netlink header; null when the message is too short.
template<typename Body> const Body* bodyOf(const nlmsghdr& message)
{
    if (message.nlmsg_len < NLMSG_LENGTH(sizeof(Body)))
        return nullptr;
    return reinterpret_cast<const Body*>(reinterpret_cast<const char*>(&message) + NLMSG_HDRLEN);
}

struct Attribute {
    unsigned type;
    std::string_view bytes;

    template<typename Number> Number number() const
    {
        Number value {};
        if (bytes.size() >= sizeof value)
            std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }
};

// Visits the attributes of a message, which begin at `offset` bytes.
template<typename Visitor>
void visitAttributes(std::string_view bytes, std::size_t offset, Visitor&& visit)
{
    bytes.remove_prefix(std::min(bytes.size(), offset));
    while (bytes.size() >= sizeof(rtattr)) {
        rtattr header;
        std::memcpy(&header, bytes.data(), sizeof header);
        if (header.rta_len < sizeof header || header.rta_len > bytes.size())
            return;
        visit(Attribute { static_cast<unsigned>(header.rta_type & NLA_TYPE_MASK),
            bytes.substr(sizeof header, header.rta_len - sizeof header) });
        bytes.remove_prefix(std::min<std::size_t>(bytes.size(), RTA_ALIGN(header.rta_len)));
    }
}

std::string_view bytesOf(const nlmsghdr& message)
{
    return { reinterpret_cast<const char*>(&message), message.nlmsg_len };
}

std::optional<NetworkLink> parsedLink(const nlmsghdr& message)
{
    const auto* body = bodyOf<ifinfomsg>(message);
    // A bridge reports its ports a second time, with another family.
    if (!body || body->ifi_family != AF_UNSPEC)
        return std::nullopt;

    NetworkLink link;
    link.index = body->ifi_index;
    link.isUp = body->ifi_flags & IFF_UP;
    link.isRunning = body->ifi_flags & IFF_RUNNING;
    link.isLoopback = body->ifi_flags & IFF_LOOPBACK;
    link.type = body->ifi_type;
    bool isBelowElsewhere = false;
    visitAttributes(
        bytesOf(message), NLMSG_SPACE(sizeof(ifinfomsg)), [&](const Attribute& attribute) {
            switch (attribute.type) {
            case IFLA_IFNAME:
                link.name = attribute.bytes.substr(0, attribute.bytes.find('\0'));
                break;
            case IFLA_LINK:
                link.below = attribute.number<int>();
                break;
            case IFLA_LINK_NETNSID:
                isBelowElsewhere = true;
                break;
            case IFLA_MASTER:
                link.master = attribute.number<int>();
                break;
            default:
                break;
            }
        });
    // The index of a link in another namespace has no meaning here.
    if (isBelowElsewhere)
        link.below = 0;
    return link;
}

bool isDefaultRoute(const nlmsghdr& message)
{
    const auto* body = bodyOf<rtmsg>(message);
    return body && (body->rtm_family == AF_INET || body->rtm_family == AF_INET6)
        && body->rtm_dst_len == 0 && body->rtm_type == RTN_UNICAST
        && !(body->rtm_flags & RTM_F_CLONED);
}

// One route for each link that it may use.
std::vector<DefaultRoute> parsedRoutes(const nlmsghdr& message)
{
    std::vector<DefaultRoute> routes;
    if (!isDefaultRoute(message))
        return routes;

    const auto* body = bodyOf<rtmsg>(message);
    DefaultRoute route;
    route.isIPv4 = body->rtm_family == AF_INET;
    std::uint32_t table = body->rtm_table;
    std::vector<int> links;
    visitAttributes(bytesOf(message), NLMSG_SPACE(sizeof(rtmsg)), [&](const Attribute& attribute) {
        switch (attribute.type) {
        case RTA_TABLE:
            table = attribute.number<std::uint32_t>();
            break;
        case RTA_PRIORITY:
            route.metric = attribute.number<std::uint32_t>();
            break;
        case RTA_OIF:
            links.push_back(attribute.number<int>());
            break;
        case RTA_MULTIPATH: {
            std::string_view hops = attribute.bytes;
            while (hops.size() >= sizeof(rtnexthop)) {
                rtnexthop hop;
                std::memcpy(&hop, hops.data(), sizeof hop);
                if (hop.rtnh_len < sizeof hop)
                    break;
                links.push_back(hop.rtnh_ifindex);
                hops.remove_prefix(std::min<std::size_t>(hops.size(), RTNH_ALIGN(hop.rtnh_len)));
            }
            break;
        }
        default:
            break;
        }
    });
    route.isInMainTable = table == RT_TABLE_MAIN;
    for (const int link : links) {
        route.link = link;
        routes.push_back(route);
    }
    return routes;
}

// Whether a PPP link may be a line over Ethernet, such as DSL. The kernel lists these sessions
// below a heading, but not the names of their links.
bool hasSessionOverEthernet(const SystemFiles& files)
{
    const std::string sessions = files.contents("/proc/net/pppoe").value_or("");
    std::string_view rest = sessions;
    nextLine(rest);
    return !trimmed(rest).empty();
}

} // namespace

bool concernsConnection(const nlmsghdr& message)
{
    switch (message.nlmsg_type) {
    case RTM_NEWLINK:
    case RTM_DELLINK:
        return parsedLink(message).has_value();
    case RTM_NEWROUTE:
    case RTM_DELROUTE:
        return isDefaultRoute(message);
    default:
        return false;
    }
}

void NetworkSnapshot::add(const nlmsghdr& message)
{
    if (message.nlmsg_type == RTM_NEWLINK) {
        if (auto link = parsedLink(message))
            add(std::move(*link));
    } else if (message.nlmsg_type == RTM_NEWROUTE) {
        for (const DefaultRoute& route : parsedRoutes(message))
            add(route);
    }
}

void NetworkSnapshot::add(NetworkLink link)
{
    const int index = link.index;
    m_links.insert_or_assign(index, std::move(link));
}

Reachability::Connection NetworkSnapshot::connection(const SystemFiles& files) const
{
    const auto rank = [](const DefaultRoute& route) {
        return std::tuple(!route.isIPv4, !route.isInMainTable, route.metric);
    };
    // Among equals in the order of the kernel.
    std::vector<DefaultRoute> routes;
    for (const DefaultRoute& route : m_routes) {
        const auto place = std::ranges::find_if(
            routes, [&](const DefaultRoute& other) { return rank(route) < rank(other); });
        if (usableLink(route))
            routes.insert(place, route);
    }
    if (routes.empty())
        return Reachability::Connection::none;

    for (const DefaultRoute& route : routes) {
        switch (kind(*usableLink(route), files, 0)) {
        case Kind::fixed:
            return Reachability::Connection::wifi;
        case Kind::cellular:
            return Reachability::Connection::cellular;
        case Kind::tunnel:
            break;
        }
    }
    return Reachability::Connection::wifi;
}

NetworkSnapshot::Kind NetworkSnapshot::kindOfType(unsigned type, const SystemFiles& files)
{
    switch (type) {
    case ARPHRD_PPP:
        return hasSessionOverEthernet(files) ? Kind::fixed : Kind::cellular;
    case ARPHRD_RAWIP:
        return Kind::cellular;
    case ARPHRD_NONE:
    case ARPHRD_TUNNEL:
    case ARPHRD_TUNNEL6:
    case ARPHRD_SIT:
    case ARPHRD_IPGRE:
    case ARPHRD_IP6GRE:
        return Kind::tunnel;
    default:
        return Kind::fixed;
    }
}

NetworkSnapshot::Kind NetworkSnapshot::ownKind(const NetworkLink& link, const SystemFiles& files)
{
    // The name says nothing: any link may be called wlan0.
    const std::string folder = "/sys/class/net/" + link.name;
    const auto deviceType = files.assignment(folder + "/uevent", "DEVTYPE");
    if (deviceType == "wlan")
        return Kind::fixed;
    if (deviceType == "wwan")
        return Kind::cellular;
    if (deviceType == "wireguard" || files.exists(folder + "/tun_flags"))
        return Kind::tunnel;

    const Kind kind = kindOfType(link.type, files);
    // Asked last and seldom: each question costs some microseconds of a host's start.
    const bool isWireless = kind != Kind::fixed
        && (files.exists(folder + "/phy80211") || files.exists(folder + "/wireless"));
    return isWireless ? Kind::fixed : kind;
}

NetworkSnapshot::Kind NetworkSnapshot::kind(
    const NetworkLink& link, const SystemFiles& files, int depth) const
{
    // The two ends of a veth pair each name the other as the link below, hence a limit.
    static constexpr int deepest = 8;

    const Kind own = ownKind(link, files);
    if (own == Kind::cellular || depth == deepest)
        return own;

    bool hasParts = false;
    bool hasFixed = false;
    bool hasCellular = false;
    for (const auto& [index, part] : m_links) {
        const bool isPart = part.isRunning && index != link.index
            && (part.master == link.index || index == link.below);
        if (!isPart)
            continue;
        hasParts = true;
        const Kind below = kind(part, files, depth + 1);
        hasFixed |= below == Kind::fixed;
        hasCellular |= below == Kind::cellular;
    }
    if (!hasParts)
        return own;
    if (hasFixed)
        return Kind::fixed;
    return hasCellular ? Kind::cellular : Kind::tunnel;
}

const NetworkLink* NetworkSnapshot::usableLink(const DefaultRoute& route) const
{
    const auto found = m_links.find(route.link);
    if (found == m_links.end())
        return nullptr;
    const NetworkLink& link = found->second;
    return link.isUp && link.isRunning && !link.isLoopback ? &link : nullptr;
}

} // namespace telvora::detail
