#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace telvora::detail {

/// A server written in Python, in a process of its own. Its program prints the port that it
/// listens on, and ends when its standard input does.
///
/// Life: serves from construction to destruction, and no longer than its maker lives.
class PythonServer {
public:
    PythonServer(const char* program, const std::vector<std::string>& arguments);
    ~PythonServer();

    PythonServer(const PythonServer&) = delete;
    PythonServer& operator=(const PythonServer&) = delete;

    const std::string& port() const { return m_port; }

private:
    std::string m_port;
    pid_t m_process = -1;
    int m_lifeline = -1;
};

} // namespace telvora::detail
