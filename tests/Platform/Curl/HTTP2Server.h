#pragma once

#include <tests/Platform/Curl/Certificates.h>
#include <tests/Platform/Curl/PythonServer.h>

#include <cstddef>
#include <string>

namespace telvora::detail {

/// A server of HTTP/2 on the loopback, in a process of its own, that refuses requests in the ways
/// in which a server may. What it does not refuse it answers with "{}".
///
/// Life: as PythonServer.
class HTTP2Server {
public:
    /// What becomes of a request:
    enum class Manner {
        /// RST_STREAM with REFUSED_STREAM.
        refuse,
        /// RST_STREAM with INTERNAL_ERROR.
        reset,
        /// GOAWAY that leaves it out; no answer on the connection from then on.
        goAwayBefore,
        /// GOAWAY that includes it; then the connection closes without an answer.
        goAwayAfter,
        /// The connection closes.
        close,
    };

    /// The requests from the `first` to the `last`, counted from 1 over all connections, are dealt
    /// with in that manner.
    HTTP2Server(Manner manner, std::size_t first, std::size_t last);

    std::string url() const { return "https://127.0.0.1:" + m_server.port() + "/"; }
    std::string authorityFile() const { return m_certificates.authorityFile(); }
    /// How many requests have come so far.
    std::size_t requests() const;
    std::size_t connections() const;

private:
    std::size_t count(const char* what) const;

    Certificates m_certificates;
    PythonServer m_server;
};

} // namespace telvora::detail
