#pragma once

#include <tests/Platform/Curl/Peers/Peer.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace telvora::detail {

/// nginx as a collector: "/batch" is answered with "{}". It keeps account of the requests by their
/// header "x-number".
class Nginx {
public:
    enum class Protocol { plain, secure, http2 };
    friend std::ostream& operator<<(std::ostream& output, Protocol protocol);

    /// Lines of configuration: for the server, and the locations beside "/batch".
    struct Settings {
        std::string server {};
        std::string locations {};
    };

    explicit Nginx(const Settings& settings);

    const Peer& peer() const { return m_peer; }
    std::string url(Protocol protocol, const std::string& target = "/batch") const;
    static int port(Protocol protocol);

    /// Has new processes take over, which finish nothing that the old ones have begun.
    void reload() const;
    void restart() { m_peer.restart(); }

    /// How many requests it has answered, by their numbers. Waits until it has written down
    /// `count`, at most 60 s.
    std::vector<int> answered(std::size_t count) const;

private:
    Peer m_peer { "nginx" };
};

} // namespace telvora::detail
