#pragma once

#include <Telvora/Base/Export.h>

#include <string_view>

namespace telvora {

enum class TrackerMode {
    debug,
    release,
};

/// The build mode of the host, one for the process; `release` until set.
///
/// Threads: any.
struct TELVORA_EXPORT TrackerConfiguration {
    static TrackerMode mode();
    static void setMode(TrackerMode mode);

    /// How a report names the current mode: "RELEASE" or "DEBUG".
    static std::string_view ipaMode();
};

} // namespace telvora
