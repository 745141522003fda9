#pragma once

#include <tests/Tools/Wire.h>

#include <boost/json/value.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace telvora::tests {

/// A running telvora-collector with a port and a control port of its own. The destructor kills it
/// where it still runs.
class CollectorProgram {
public:
    explicit CollectorProgram(std::vector<std::string> arguments = {});
    /// With this descriptor as its standard error.
    CollectorProgram(std::vector<std::string> arguments, int errors);
    ~CollectorProgram();
    CollectorProgram(const CollectorProgram&) = delete;
    CollectorProgram& operator=(const CollectorProgram&) = delete;

    std::uint16_t port() const { return m_port; }
    std::uint16_t controlPort() const { return m_controlPort; }
    pid_t process() const { return m_process; }

    Wire connect() const { return Wire(m_port); }

    /// Posts a batch over a connection of its own.
    Wire::Reply post(std::string_view path, std::string_view body) const;

    boost::json::object summary() const { return control("GET", "/_telvora/summary"); }
    boost::json::object total() const { return summary().at("total").as_object(); }
    boost::json::array requests(std::uint64_t since = 0) const;
    void installRules(std::string_view rules) const;
    /// Waits as the query of /_telvora/wait says; the test fails where the counts are not reached.
    boost::json::object await(std::string_view query) const;
    boost::json::object control(
        std::string_view method, std::string_view target, std::string_view body = {}) const;

    /// Sends the signal and waits for the end. Returns the exit status; -1 where a signal ended it.
    int end(int signal);

    /// The memory of the process.
    std::size_t residentBytes() const;

private:
    std::uint16_t readPort(const std::string& prefix);
    std::string readLine();

    pid_t m_process = -1;
    int m_output = -1;
    std::string m_text;
    std::uint16_t m_port = 0;
    std::uint16_t m_controlPort = 0;
};

/// Runs the program to its end. Returns its exit status and its output on stdout and stderr.
int runCollector(const std::vector<std::string>& arguments, std::string& output);

/// A file under the test's own temporary folder, removed before the test begins.
std::string temporaryFile(std::string_view name);
std::string contentOf(const std::string& path);

/// A batch body of `count` events.
std::string eventsBody(int count, std::string_view key = "data-list");

} // namespace telvora::tests
