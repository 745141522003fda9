#pragma once

#include <Telvora/Platform/Linux/Machine/SystemFiles.h>
#include <Telvora/Platform/Reachability.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct nlmsghdr;

namespace telvora::detail {

/// A network interface as the kernel reports it.
struct NetworkLink {
    int index = 0;
    std::string name;
    bool isUp = false;
    /// Has a carrier, and whatever else it needs to send.
    bool isRunning = false;
    bool isLoopback = false;
    /// ARPHRD_...
    unsigned type = 0;
    /// The link that this one sits on (as a VLAN does), or 0.
    int below = 0;
    /// The bridge or bond that this one is part of, or 0.
    int master = 0;
};

/// A route to everywhere.
struct DefaultRoute {
    bool isIPv4 = false;
    bool isInMainTable = false;
    std::uint32_t metric = 0;
    int link = 0;
};

/// Whether a message of the kernel that tells of a change could change the connection: it is about
/// a link or a default route.
bool concernsConnection(const nlmsghdr& message);

/// The links and default routes of a machine at one moment, and what they mean for the kind of
/// its connection.
///
/// Threads: a value.
class NetworkSnapshot {
public:
    /// Adds what an RTM_NEWLINK or RTM_NEWROUTE message of a dump tells; others are ignored.
    void add(const nlmsghdr& message);

    void add(NetworkLink link);
    void add(DefaultRoute route) { m_routes.push_back(route); }

    /// By the best default route over a link that can send; none without one. What the links are
    /// is looked up in `files` (/sys/class/net).
    ///
    /// Deliberate: a wired line counts as Wi-Fi, since both are fixed and seldom metered. A tunnel
    /// is what it runs over: what it is stacked on, else the next best route that is no tunnel,
    /// else, when neither can be told, Wi-Fi.
    Reachability::Connection connection(const SystemFiles& files) const;

private:
    enum class Kind {
        fixed,
        cellular,
        tunnel,
    };

    static Kind ownKind(const NetworkLink& link, const SystemFiles& files);
    Kind kind(const NetworkLink& link, const SystemFiles& files, int depth) const;
    const NetworkLink* usableLink(const DefaultRoute& route) const;

    std::map<int, NetworkLink> m_links;
    std::vector<DefaultRoute> m_routes;
};

} // namespace telvora::detail
