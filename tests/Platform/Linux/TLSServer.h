#pragma once

#include <sys/types.h>

#include <string>

namespace telvora {

/// An HTTPS server on the loopback, in a process of its own, with a certificate authority made for
/// the occasion. Answers a POST to "/to/307?URL" with that status and a redirect to URL, one to
/// "/headers" with the names of its headers, one a line, and any other with its path.
///
/// Life: serves from construction to destruction, and no longer than its maker lives.
class TLSServer {
public:
    enum class Wants { AnyClient, CertifiedClient };

    /// `address` is whom its certificate is for; it always listens on 127.0.0.1.
    explicit TLSServer(Wants wants = Wants::AnyClient, const std::string& address = "127.0.0.1");
    ~TLSServer();

    std::string url(const std::string& target = "/") const;
    std::string file(const std::string& name) const { return m_folder + "/" + name; }
    std::string authorityFile() const { return file("authority.pem"); }

private:
    void makeCertificates(const std::string& address);
    void start(Wants wants);

    std::string m_folder;
    std::string m_port;
    pid_t m_process = -1;
    int m_lifeline = -1;
};

} // namespace telvora
