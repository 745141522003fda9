#pragma once

#include <Telvora/Base/Export.h>

#include <string>

namespace telvora {

/// Says which URLs programs on the device can open.
///
/// Used by TrackerDataExcavator, to detect a jailbroken device.
///
/// Threads: any.
/// Implementations: Linux/Machine/LinuxApplication, Simulated/ScriptedApplication.
class TELVORA_EXPORT Application {
public:
    virtual ~Application() = default;

    /// Whether a program on the device handles this URL.
    virtual bool canOpenURL(const std::string& url) const = 0;
};

} // namespace telvora
