#include <tools/collector/EventCounter.h>

#include <array>

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

} // namespace

void EventCounter::feed(std::string_view part)
{
    const char* at = part.data();
    const char* const end = at + part.size();
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
