#pragma once

#include <tests/Platform/Curl/Certificates.h>

#include <sys/types.h>

#include <string>
#include <vector>

namespace telvora::detail {

/// A server that hosts use in production: nginx, HAProxy or nghttpd, in processes of its
/// own, with a folder and a loopback address that no other test uses. scripts/bootstrap unpacks
/// the programs; where they are missing, every test that makes a Peer fails and says so.
///
/// Life: serves from start() to stop() or destruction, and no longer than its maker lives.
class Peer {
public:
    /// `program` is nginx, haproxy or nghttpd.
    explicit Peer(std::string program);
    ~Peer();

    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// A loopback address of the test's own, so that every port is free.
    const std::string& address() const { return m_address; }
    const std::string& folder() const { return m_certificates.folder(); }
    std::string file(const std::string& name) const { return m_certificates.file(name); }
    std::string authorityFile() const { return m_certificates.authorityFile(); }

    void write(const std::string& name, const std::string& text) const;

    /// Runs the program and returns once it accepts connections on each of `ports`.
    void start(const std::vector<std::string>& arguments, std::vector<int> ports);
    /// Ends the program, and all that it has started, without any warning.
    void stop();
    /// Ends it and starts it again.
    void restart();
    /// Sends the program a signal, as its operator does to reload it.
    void signal(int number) const;

private:
    std::string path() const;
    void startProcesses();
    void waitUntilListening(int port) const;
    std::string log() const;

    const std::string m_program;
    const std::string m_address;
    const Certificates m_certificates;
    std::vector<std::string> m_arguments;
    std::vector<int> m_ports;
    pid_t m_guard = -1;
    pid_t m_process = -1;
    int m_lifeline = -1;
};

} // namespace telvora::detail
