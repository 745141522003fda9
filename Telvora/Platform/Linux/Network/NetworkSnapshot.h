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
    /// Has a carrier and can send.
    bool isRunning = false;
    bool isLoopback = false;
    /// ARPHRD_...
    unsigned type = 0;
    /// The link that this one sits on (as a VLAN does), or 0.
    int below = 0;
    /// The bridge or bond that this one is part of, or 0.
    int master = 0;
};

/// A route to all addresses.
struct DefaultRoute {
    bool isIPv4 = false;
    bool isInMainTable = false;
    std::uint32_t metric = 0;
    int link = 0;
};

/// Whether a message about a change is about a link or a default route, and so may change the
/// connection.
bool concernsConnection(const nlmsghdr& message);

/// The links and default routes of a machine at one moment, and the kind of connection that
/// follows.
///
/// Threads: a value.
class NetworkSnapshot {
public:
    /// Adds the link or routes of an RTM_NEWLINK or RTM_NEWROUTE message; ignores other messages.
    void add(const nlmsghdr& message);

    void add(NetworkLink link);
    void add(DefaultRoute route) { m_routes.push_back(route); }

    /// The kind of the best default route over a link that can send; none if there is no such
    /// route. The kinds of the links are read from `files` (/sys/class/net).
    ///
    /// Deliberate: a wired link counts as Wi-Fi, since both are fixed and seldom metered. A tunnel
    /// has the kind of the link below it; if that is not known, the kind of the next best route
    /// that is no tunnel; else it counts as Wi-Fi.
    Reachability::Connection connection(const SystemFiles& files) const;

private:
    enum class Kind {
        fixed,
        cellular,
        tunnel,
    };

    static Kind kindOfType(unsigned type, const SystemFiles& files);
    static Kind ownKind(const NetworkLink& link, const SystemFiles& files);
    Kind kind(const NetworkLink& link, const SystemFiles& files, int depth) const;
    const NetworkLink* usableLink(const DefaultRoute& route) const;

    std::map<int, NetworkLink> m_links;
    std::vector<DefaultRoute> m_routes;
};

} // namespace telvora::detail
