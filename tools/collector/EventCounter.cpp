#include <tools/collector/EventCounter.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace telvora::collector {
namespace {

constexpr std::array<bool, 256> structuralBytes()
{
    std::array<bool, 256> table {};
    for (const char c : std::string_view("\"{}[],:"))
        table[static_cast<unsigned char>(c)] = true;
    return table;
}

constexpr std::array<bool, 256> isStructural = structuralBytes();

constexpr std::size_t blockSize = 64;
using Lanes = unsigned char __attribute__((vector_size(16)));

// Where a block has quotes, backslashes and brackets: bit i stands for byte i.
struct BlockMasks {
    std::uint64_t quotes = 0;
    std::uint64_t backslashes = 0;
    std::uint64_t brackets = 0;
};

// Packs a comparison's sixteen results, each all ones or all zeros, into sixteen bits.
template<typename Comparison> std::uint64_t packed(Comparison comparison)
{
    const auto halves = std::bit_cast<std::array<std::uint64_t, 2>>(comparison);
    const auto bits = [](std::uint64_t half) {
        return ((half & 0x0101010101010101U) * 0x0102040810204080U) >> 56U;
    };
    return bits(halves[0]) | bits(halves[1]) << 8U;
}

BlockMasks masksOf(const char* block)
{
    BlockMasks masks;
    for (unsigned at = 0; at < blockSize; at += sizeof(Lanes)) {
        Lanes lanes;
        std::memcpy(&lanes, block + at, sizeof lanes);
        masks.quotes |= packed(lanes == '"') << at;
        masks.backslashes |= packed(lanes == '\\') << at;
        // Braces and square brackets differ in this bit alone.
        const Lanes braces = lanes | 0x20;
        masks.brackets |= packed((braces == '{') | (braces == '}')) << at;
    }
    return masks;
}

// Bit i of the result is the parity of the bits up to i.
std::uint64_t runningParity(std::uint64_t bits)
{
    for (unsigned shift = 1; shift < 64; shift *= 2)
        bits ^= bits << shift;
    return bits;
}

} // namespace

void EventCounter::feed(std::string_view part)
{
    const char* at = part.data();
    const char* const end = at + part.size();
    while (at != end) {
        const auto left = static_cast<std::size_t>(end - at);
        if (m_isCounting && left >= blockSize && std::endian::native == std::endian::little)
            at = feedBlock(at);
        else
            at = feedBytes(at, m_isCounting ? end : at + std::min(left, blockSize));
    }
}

// Reads one block of the counted array, where only quotes and brackets matter. Stops at the array's
// end. Returns where to read on.
const char* EventCounter::feedBlock(const char* block)
{
    const BlockMasks masks = masksOf(block);
    if (masks.backslashes != 0 || m_isEscaped)
        return feedBytes(block, block + blockSize);

    const std::uint64_t inString
        = runningParity(masks.quotes) ^ (m_isInString ? ~std::uint64_t { 0 } : 0);
    for (std::uint64_t left = masks.brackets & ~inString; left != 0; left &= left - 1) {
        const char* at = block + std::countr_zero(left);
        feedStructure(*at);
        if (!m_isCounting) {
            m_isInString = false;
            return at + 1;
        }
    }
    m_isInString = (inString >> 63U) != 0;
    return block + blockSize;
}

const char* EventCounter::feedBytes(const char* at, const char* end)
{
    while (at != end) {
        if (m_isInString) {
            at = feedString(at, end);
            continue;
        }
        while (at != end && !isStructural[static_cast<unsigned char>(*at)])
            ++at;
        if (at != end)
            feedStructure(*at++);
    }
    return end;
}

const char* EventCounter::feedString(const char* at, const char* end)
{
    for (; at != end; ++at) {
        if (m_isEscaped) {
            m_isEscaped = false;
        } else if (*at == '\\') {
            m_isEscaped = true;
            m_matched = std::string::npos;
        } else if (*at == '"') {
            m_isInString = false;
            return at + 1;
        } else if (m_matched != std::string::npos) {
            m_matched = m_matched < m_key.size() && m_key[m_matched] == *at ? m_matched + 1
                                                                            : std::string::npos;
        }
    }
    return at;
}

void EventCounter::feedStructure(char c)
{
    switch (c) {
    case '"':
        m_isInString = true;
        m_matched = m_depth == 1 ? 0 : std::string::npos;
        break;
    case ':':
        if (m_depth == 1)
            m_isKeySeen = m_matched == m_key.size();
        break;
    case ',':
        if (m_depth == 1)
            m_isKeySeen = false;
        break;
    case '{':
        if (m_depth == 2 && m_isCounting)
            ++m_count;
        ++m_depth;
        break;
    case '[':
        if (m_depth == 1)
            m_isCounting = m_isKeySeen;
        // feedBlock() does not compare keys.
        m_matched = std::string::npos;
        ++m_depth;
        break;
    default:
        if (m_depth > 0)
            --m_depth;
        if (m_depth == 1)
            m_isCounting = false;
        break;
    }
}

void EventCounter::restart()
{
    *this = EventCounter(std::move(m_key));
}

} // namespace telvora::collector
