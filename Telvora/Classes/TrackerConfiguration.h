#pragma once

#include <Telvora/Base/Export.h>

#include <string_view>

namespace telvora {

/// Whether the host is a debug or a release build.
enum class TrackerMode {
    /// The developers run it; changes of the network are printed.
    debug,
    /// Users run it.
    release,
};

/// The build mode of the host, one for the process.
///
/// Threads: any.
struct TELVORA_EXPORT TrackerConfiguration {
    /// `release` until set.
    static TrackerMode mode();
    /// Records that were made before keep the mode of their making.
    static void setMode(TrackerMode mode);

    /// The current mode as APM reports name it: "RELEASE" or "DEBUG".
    static std::string_view ipaMode();
};

} // namespace telvora
