#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/UUIDText.h>

namespace telvora {

/// Where random UUIDs come from.
///
/// Threads: any.
/// Implementations: Linux/Machine/LinuxUUIDSource (the kernel's randomness),
/// Simulated/SeededUUIDSource.
class TELVORA_EXPORT UUIDSource {
public:
    virtual ~UUIDSource() = default;

    /// A new version 4 UUID.
    virtual UUID next() = 0;
};

} // namespace telvora
