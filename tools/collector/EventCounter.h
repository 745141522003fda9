#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace telvora::collector {

/// Counts the objects in one array of a body while the body arrives, for benchmarks in which a full
/// check would cost more than what they measure.
///
/// Deliberate: assumes valid JSON and a key without escapes. A run without --sink checks the JSON.
class EventCounter {
public:
    explicit EventCounter(std::string key)
        : m_key(std::move(key))
    {
    }

    void feed(std::string_view part);
    std::uint64_t count() const { return m_count; }

    /// Starts a new body with the same key.
    void restart();

private:
    const char* feedBlock(const char* block);
    const char* feedBytes(const char* at, const char* end);
    const char* feedString(const char* at, const char* end);
    void feedStructure(char c);

    std::string m_key;
    std::uint64_t m_count = 0;
    std::uint64_t m_depth = 0;
    bool m_isInString = false;
    bool m_isEscaped = false;
    // How many bytes of the current root-level string match the key; npos: it differs.
    std::size_t m_matched = std::string::npos;
    bool m_isKeySeen = false;
    bool m_isCounting = false;
};

} // namespace telvora::collector
