#pragma once

#include <string>
#include <vector>

namespace telvora::tests {

/// One run of telvora-host from beginning to end.
struct HostRun {
    /// Its status from waitpid().
    int status = 0;
    /// Standard output, line by line.
    std::vector<std::string> lines;
    /// Standard error.
    std::string diagnostics;

    /// Its exit status; -1 when a signal ended it.
    int exitStatus() const;
    /// The signal that ended it; 0 when none did.
    int signal() const;
};

/// Runs telvora-host with `script` on standard input. A run that takes a minute is killed.
HostRun runHost(const std::string& script, const std::vector<std::string>& arguments = {});

/// The same on the simulated platform.
HostRun runSimulated(const std::string& script, const std::string& seed = "0");

} // namespace telvora::tests
