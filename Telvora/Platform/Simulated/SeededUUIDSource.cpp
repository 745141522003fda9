#include <Telvora/Platform/Simulated/SeededUUIDSource.h>

#include <cstddef>

namespace telvora {

SeededUUIDSource::SeededUUIDSource(std::uint64_t seed)
    : m_random(detail::Random(seed))
{
}

UUID SeededUUIDSource::next()
{
    UUID uuid {};
    m_random.with([&](detail::Random& random) {
        for (std::size_t half = 0; half < uuid.size(); half += 8) {
            const std::uint64_t bits = random.next();
            for (std::size_t index = 0; index < 8; ++index)
                uuid.data[half + index] = static_cast<std::uint8_t>(bits >> (8 * index));
        }
    });
    // The six bits that make it one of version 4 (RFC 9562, 5.4).
    uuid.data[6] = static_cast<std::uint8_t>((uuid.data[6] & 0x0F) | 0x40);
    uuid.data[8] = static_cast<std::uint8_t>((uuid.data[8] & 0x3F) | 0x80);
    return uuid;
}

} // namespace telvora
