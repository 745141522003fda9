#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace telvora::collector {

/// Counts the objects in one array of a body as the body streams by, for benchmarks in which
/// looking closer would cost more than what is measured.
///
/// Deliberate: believes that the text is JSON and that the key is written without escapes. The
/// verdict of an ordinary run is the judge of that.
class EventCounter {
public:
    explicit EventCounter(std::string key)
        : m_key(std::move(key))
    {
    }

    void feed(std::string_view part);
    std::uint64_t count() const { return m_count; }

    /// Forgets the body, keeps the key.
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
    /// Length of the root-level string so far that equals the key's beginning; npos: differs.
    std::size_t m_matched = std::string::npos;
    bool m_isKeySeen = false;
    bool m_isCounting = false;
};

} // namespace telvora::collector
