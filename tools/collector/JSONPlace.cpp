#include <tools/collector/JSONPlace.h>

#include <tools/collector/JSONBytes.h>

#include <boost/json/parse.hpp>

#include <algorithm>

namespace telvora::collector {
namespace {

// Walks over a text that is known to be JSON, so it looks for no errors.
class Walker {
public:
    explicit Walker(std::string_view text)
        : m_text(text)
    {
        skipSpace();
    }

    std::size_t at() const { return m_at; }
    std::size_t nameAt() const { return m_nameAt; }

    // From the beginning of an array to that of one of its elements.
    void enter(std::size_t index)
    {
        skip(1);
        for (; index > 0; --index) {
            skipValue();
            skip(1);
        }
    }

    // From the beginning of an object to that of a member's value.
    void enter(const std::string& name)
    {
        std::size_t valueAt = m_at;
        while (m_text[m_at] != '}') {
            skip(1);
            const std::size_t nameAt = m_at;
            skipValue();
            const bool isFound = isName(m_text.substr(nameAt, m_at - nameAt), name);
            skip(1);
            if (isFound) {
                m_nameAt = nameAt;
                valueAt = m_at;
            }
            skipValue();
        }
        m_at = valueAt;
    }

private:
    static bool isName(std::string_view quoted, const std::string& name)
    {
        boost::system::error_code error;
        const auto value = boost::json::parse({ quoted.data(), quoted.size() }, error);
        return value.is_string() && value.get_string() == name;
    }

    void skip(std::size_t bytes)
    {
        m_at += bytes;
        skipSpace();
    }

    void skipSpace()
    {
        while (m_at < m_text.size() && isSpace(m_text[m_at]))
            ++m_at;
    }

    void skipString()
    {
        for (++m_at; m_text[m_at] != '"'; ++m_at) {
            if (m_text[m_at] == '\\')
                ++m_at;
        }
        ++m_at;
    }

    // Goes past a value and the space behind it.
    void skipValue()
    {
        std::size_t depth = 0;
        do {
            const char c = m_text[m_at];
            if (c == '"') {
                skipString();
                continue;
            }
            if (c == '[' || c == '{')
                ++depth;
            else if (c == ']' || c == '}')
                --depth;
            m_at = std::min(m_text.find_first_of(",:[]{}\" \t\r\n", m_at + 1), m_text.size());
        } while (depth > 0);
        skipSpace();
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    std::size_t m_nameAt = 0;
};

} // namespace

std::size_t placeInJSON(std::string_view text, const JSONPath& path, bool ofName)
{
    Walker walker(text);
    for (const auto& step : path)
        std::visit([&](const auto& next) { walker.enter(next); }, step);
    return ofName ? walker.nameAt() : walker.at();
}

std::string lineAndColumn(std::string_view text, std::size_t byte)
{
    const std::string_view before = text.substr(0, byte);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::string_view inLine = before.substr(before.rfind('\n') + 1);
    const auto column = 1 + std::count_if(inLine.begin(), inLine.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
    });
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

} // namespace telvora::collector
