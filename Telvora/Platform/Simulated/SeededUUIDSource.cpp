#include <Telvora/Platform/Simulated/SeededUUIDSource.h>

#include <cstddef>

namespace telvora {

SeededUUIDSource::SeededUUIDSource(std::uint64_t seed)
    : m_random(seed)
{
}

UUIDBytes SeededUUIDSource::next()
{
    UUIDBytes bytes {};
    MutexLock lock(m_lock);
    for (std::size_t half = 0; half < bytes.size(); half += 8) {
        const std::uint64_t random = m_random.next();
        for (std::size_t index = 0; index < 8; ++index)
            bytes[half + index] = static_cast<std::uint8_t>(random >> (8 * index));
    }
    return asRandomUUID(bytes);
}

} // namespace telvora
