#pragma once

#include <tests/Platform/Curl/Certificates.h>
#include <tests/Platform/Curl/PythonServer.h>

#include <string>

namespace telvora::detail {

/// An HTTPS server on the loopback, in a process of its own, with a certificate authority made for
/// the occasion. Answers a POST to "/to/307?URL" with that status and a redirect to URL, one to
/// "/headers" with the names of its headers, one a line, and any other with its path. After "/last"
/// it takes its leave of TLS and closes the connection.
///
/// Life: as PythonServer.
class TLSServer {
public:
    enum class Wants { AnyClient, CertifiedClient };

    /// `address` is whom its certificate is for; it always listens on 127.0.0.1.
    explicit TLSServer(Wants wants = Wants::AnyClient, const std::string& address = "127.0.0.1");

    std::string url(const std::string& target = "/") const;
    const std::string& port() const { return m_server.port(); }
    std::string file(const std::string& name) const { return m_certificates.file(name); }
    std::string authorityFile() const { return m_certificates.authorityFile(); }

private:
    Certificates m_certificates;
    PythonServer m_server;
};

} // namespace telvora::detail
