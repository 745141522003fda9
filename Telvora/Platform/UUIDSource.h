#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/UUIDText.h>

namespace telvora {

/// Makes random UUIDs.
///
/// Used by TrackerManager (session identifiers) and TrackerNetwork (x-trace-id).
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
