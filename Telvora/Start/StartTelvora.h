#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/Work.h>
#include <Telvora/Start/TelvoraOptions.h>

#include <string>
#include <vector>

namespace telvora {

struct Platform;

/// Whether startTelvora() started the library, and what is wrong where it did not.
struct [[nodiscard]] StartResult {
    /// False also where there was no memory to say what is wrong.
    bool isStarted = false;
    /// One sentence each, for a person; no secret in them but what is in an address.
    std::vector<std::string> problems {};

    /// isStarted.
    explicit operator bool() const { return isStarted; }
    /// The problems, one a line.
    std::string text() const
    {
        std::string lines;
        for (const std::string& problem : problems)
            lines += problem + '\n';
        return lines;
    }
};

/// Installs `platform`, registers the channels with their common data, starts the library, and
/// computes the values of TrackerDataExcavator. Installs nothing where `platform` is in use
/// already, as in the tests of a host. <Telvora/StartTelvora.h> has the same for the usual Linux
/// platform.
///
/// All of it is also there as single operations, of which TrackerManager is the facade. They can be
/// called afterwards as well; TrackerManager::start() must not, because this calls it.
///
/// Life: once in a process. `platform` must live to the end of the process.
/// Threads: call it on one thread, before others use the library.
///
/// Failure: throws nothing. The options are checked first: where anything is wrong with them,
/// another platform is in use, the library was started before, or the process is a forked child,
/// nothing is installed, registered or started, and a later call may succeed. Only a lack of memory
/// can leave half of it done.
TELVORA_EXPORT StartResult startTelvora(TelvoraOptions options, Platform& platform) noexcept;

namespace detail {

/// The same with a platform that is made once nothing else is wrong. `platform` is that platform if
/// it is there already, otherwise null. `checkPlatform` adds what is wrong with its own options.
TELVORA_EXPORT StartResult startTelvora(TelvoraOptions&& options, const Platform* platform,
    FunctionRef<void(std::vector<std::string>&)> checkPlatform,
    FunctionRef<Platform&()> makePlatform) noexcept;

} // namespace detail

} // namespace telvora
