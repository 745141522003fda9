#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/Simulated/Random.h>
#include <Telvora/Platform/UUIDSource.h>

#include <cstdint>

namespace telvora {

/// A UUIDSource that gives the same UUIDs for the same seed, on every machine.
///
/// Threads: any; the order of their calls decides which thread gets which UUID.
class TELVORA_EXPORT SeededUUIDSource final : public UUIDSource {
public:
    /// Any seed serves.
    explicit SeededUUIDSource(std::uint64_t seed = 0);

    UUID next() override;

private:
    detail::Guarded<detail::Random> m_random;
};

} // namespace telvora
