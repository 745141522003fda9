#pragma once

#include <cstdint>

namespace telvora::detail {

/// SplitMix64: small, and the same seed gives the same numbers with every compiler and library,
/// which the distributions of <random> do not guarantee.
class Random {
public:
    explicit Random(std::uint64_t seed)
        : m_state(seed)
    {
    }

    std::uint64_t next()
    {
        m_state += 0x9E3779B97F4A7C15U;
        std::uint64_t mixed = m_state;
        mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31U);
    }

private:
    std::uint64_t m_state;
};

} // namespace telvora::detail
