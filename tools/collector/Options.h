#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace telvora::collector {

/// An address to listen on. Port 0 lets the system choose.
struct Endpoint {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;
};

/// What the command line says.
struct Options {
    Endpoint listen;
    /// A second port for /_telvora/ alone; no rule applies to it.
    std::optional<Endpoint> control;
    std::string portFile;
    std::string controlPortFile;
    std::string rulesFile;
    std::string recordFile;
    bool isSink = false;
    /// Show no line for each request, even on a terminal.
    bool isQuiet = false;
    /// Bytes of the kept requests, and of one body.
    std::size_t maximumMemory = std::size_t { 256 } << 20U;
    std::size_t maximumBody = std::size_t { 64 } << 20U;
    /// Drop a connection without a request after this time.
    std::chrono::milliseconds idle { 300'000 };
    /// Drop a connection whose request makes no progress for this long.
    std::chrono::milliseconds slow { 30'000 };
    bool isHelp = false;
    bool isVersion = false;

    /// Why the command line cannot be used; empty where it can.
    std::string problem;
};

Options readOptions(const std::vector<std::string>& arguments);

std::string usage();

/// The name of the program and its version, which is that of the library it comes with.
std::string versionText();

} // namespace telvora::collector
