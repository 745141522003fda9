#pragma once

#include <Telvora/Base/Export.h>

#include <string>

namespace telvora {

/// What the running application can do.
///
/// Threads: any.
/// Implementations: Linux/Machine/LinuxApplication, Simulated/ScriptedApplication.
class TELVORA_EXPORT Application {
public:
    virtual ~Application() = default;

    /// Whether some program on the device handles this URL.
    virtual bool canOpenURL(const std::string& url) const = 0;
};

} // namespace telvora
