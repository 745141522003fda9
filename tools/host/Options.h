#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace telvora::host {

/// What the command line asks for.
struct Options {
    bool isSimulated = false;
    std::uint64_t seed = 0;
    /// Standard input when absent.
    std::optional<std::string> script {};
    bool wantsHelp = false;
    bool wantsVersion = false;
};

/// Throws ScriptError for a command line that makes no sense.
Options readOptions(int argumentCount, const char* const* arguments);

extern const char* const usage;

} // namespace telvora::host
