#pragma once

#include <Telvora/Base/Export.h>

#include <string_view>

namespace telvora {

/// Whether the host is a debug or a release build.
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

    /// The current mode as APM reports name it: "RELEASE" or "DEBUG".
    static std::string_view ipaMode();
};

} // namespace telvora
