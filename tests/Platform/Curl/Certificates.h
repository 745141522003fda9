#pragma once

#include <string>

namespace telvora::detail {

/// A folder with a certificate authority made for the occasion, and what it has signed: PEM files
/// named authority.pem, server.pem and server.key, client.pem and client.key.
///
/// Life: the folder goes with the object, with all that was put into it.
class Certificates {
public:
    /// `address` is the one that the server's certificate is for.
    explicit Certificates(const std::string& address = "127.0.0.1");
    ~Certificates();

    Certificates(const Certificates&) = delete;
    Certificates& operator=(const Certificates&) = delete;

    const std::string& folder() const { return m_folder; }
    std::string file(const std::string& name) const { return m_folder + "/" + name; }
    std::string authorityFile() const { return file("authority.pem"); }

private:
    std::string m_folder;
};

} // namespace telvora::detail
