#include <tools/collector/BatchScan.h>

#include <tools/collector/JSONBytes.h>
#include <tools/collector/UTF8.h>

#include <boost/json/parse.hpp>

namespace telvora::collector {
namespace {

class Scanner {
public:
    explicit Scanner(std::string_view text)
        : m_text(text)
    {
    }

    BatchScan run()
    {
        if (!scanDocument()) {
            m_scan.root = BatchScan::Root::notJSON;
            m_scan.error = m_error;
            m_scan.errorOffset = m_at;
            m_scan.members.clear();
        }
        return std::move(m_scan);
    }

private:
    enum class Want { value, valueOrEnd, key, keyOrEnd, commaOrEnd };

    bool scanDocument()
    {
        for (;;) {
            skipSpace();
            if (m_want == Want::commaOrEnd && m_open.empty())
                return m_at == m_text.size() || fail("text after the value");
            if (m_at == m_text.size())
                return fail(m_text.empty() ? "empty text" : "text ends early");
            if (!scanStep())
                return false;
        }
    }

    bool scanStep()
    {
        const char c = m_text[m_at];
        switch (m_want) {
        case Want::valueOrEnd:
            if (c == ']')
                return close();
            return scanValue();
        case Want::value:
            return scanValue();
        case Want::keyOrEnd:
            if (c == '}')
                return close();
            return scanKey();
        case Want::key:
            return scanKey();
        case Want::commaOrEnd:
            break;
        }
        if (c == (m_open.back() == '{' ? '}' : ']'))
            return close();
        if (c != ',')
            return fail("comma or end expected");
        ++m_at;
        m_want = m_open.back() == '{' ? Want::key : Want::value;
        return true;
    }

    bool close()
    {
        ++m_at;
        m_open.pop_back();
        m_want = Want::commaOrEnd;
        return true;
    }

    bool open(char bracket)
    {
        ++m_at;
        m_open.push_back(bracket);
        m_want = bracket == '{' ? Want::keyOrEnd : Want::valueOrEnd;
        return true;
    }

    // Called at the first byte of every value, before the value is read.
    void noteValue(char first)
    {
        if (m_open.empty()) {
            m_scan.root = first == '{' ? BatchScan::Root::object : BatchScan::Root::other;
        } else if (m_scan.root == BatchScan::Root::object && !m_scan.members.empty()) {
            BatchScan::Member& member = m_scan.members.back();
            if (m_open.size() == 1) {
                member.isArray = first == '[';
            } else if (m_open.size() == 2 && m_open.back() == '[') {
                ++member.elements;
                member.onlyObjects = member.onlyObjects && first == '{';
            }
        }
    }

    bool scanValue()
    {
        const char c = m_text[m_at];
        noteValue(c);
        if (c == '{' || c == '[')
            return open(c);
        m_want = Want::commaOrEnd;
        switch (c) {
        case '"':
            return scanString();
        case 't':
            return scanWord("true");
        case 'f':
            return scanWord("false");
        case 'n':
            return scanWord("null");
        default:
            return scanNumber();
        }
    }

    bool scanKey()
    {
        if (m_text[m_at] != '"')
            return fail("key expected");
        const std::size_t start = m_at;
        if (!scanString())
            return false;
        if (m_open.size() == 1)
            m_scan.members.push_back({ decoded(m_text.substr(start, m_at - start)) });
        skipSpace();
        if (m_at == m_text.size() || m_text[m_at] != ':')
            return fail("colon expected");
        ++m_at;
        m_want = Want::value;
        return true;
    }

    static std::string decoded(std::string_view quoted)
    {
        if (quoted.find('\\') == std::string_view::npos)
            return std::string(quoted.substr(1, quoted.size() - 2));
        boost::system::error_code error;
        const boost::json::value value
            = boost::json::parse({ quoted.data(), quoted.size() }, error);
        return value.is_string() ? std::string(value.get_string()) : std::string(quoted);
    }

    bool scanWord(std::string_view word)
    {
        if (m_text.substr(m_at, word.size()) != word)
            return fail("unknown word");
        m_at += word.size();
        return true;
    }

    bool scanDigits()
    {
        const std::size_t start = m_at;
        while (m_at < m_text.size() && isDigit(m_text[m_at]))
            ++m_at;
        return m_at > start || fail("digit expected");
    }

    bool skip(char c)
    {
        if (m_at == m_text.size() || m_text[m_at] != c)
            return false;
        ++m_at;
        return true;
    }

    bool scanNumber()
    {
        if (!isDigit(m_text[m_at]) && m_text[m_at] != '-')
            return fail("value expected");
        skip('-');
        if (!skip('0') && !scanDigits())
            return false;
        if (skip('.') && !scanDigits())
            return false;
        if (skip('e') || skip('E')) {
            if (!skip('+'))
                skip('-');
            return scanDigits();
        }
        return true;
    }

    bool scanString()
    {
        ++m_at;
        for (;;) {
            const char* at = m_text.data() + m_at;
            const char* const end = m_text.data() + m_text.size();
            while (at != end && isPlain(*at))
                ++at;
            m_at = static_cast<std::size_t>(at - m_text.data());
            if (at == end)
                return fail("string does not end");
            if (*at == '"') {
                ++m_at;
                return true;
            }
            if (*at == '\\') {
                if (!scanEscape())
                    return false;
            } else if (!scanBeyondASCII()) {
                return false;
            }
        }
    }

    bool scanBeyondASCII()
    {
        if (static_cast<unsigned char>(m_text[m_at]) < 0x20)
            return fail("control character in a string");
        const std::size_t length = utf8SequenceLength(m_text, m_at);
        m_at += length;
        return length > 0 || fail("not UTF-8");
    }

    bool scanEscape()
    {
        if (m_at + 1 == m_text.size())
            return fail("string does not end");
        const char c = m_text[m_at + 1];
        if (c != 'u') {
            if (std::string_view("\"\\/bfnrt").find(c) == std::string_view::npos)
                return fail("unknown escape");
            m_at += 2;
            return true;
        }
        const int unit = codeUnit(m_at);
        if (unit < 0)
            return fail("four hexadecimal digits expected");
        const bool isHigh = unit >= 0xD800 && unit < 0xDC00;
        const int low = isHigh ? codeUnit(m_at + 6) : -1;
        if (isHigh ? (low < 0xDC00 || low > 0xDFFF) : (unit >= 0xDC00 && unit <= 0xDFFF))
            return fail("unpaired surrogate");
        m_at += isHigh ? 12 : 6;
        return true;
    }

    // The value of the \uXXXX at `at`, or -1.
    int codeUnit(std::size_t at) const
    {
        if (at + 6 > m_text.size() || m_text[at] != '\\' || m_text[at + 1] != 'u')
            return -1;
        int unit = 0;
        for (std::size_t i = at + 2; i < at + 6; ++i) {
            const int digit = hexDigit(m_text[i]);
            if (digit < 0)
                return -1;
            unit = unit * 16 + digit;
        }
        return unit;
    }

    void skipSpace()
    {
        while (m_at < m_text.size() && isSpace(m_text[m_at]))
            ++m_at;
    }

    bool fail(const char* why)
    {
        m_error = why;
        return false;
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    Want m_want = Want::value;
    // The brackets that are open, outermost first.
    std::string m_open;
    const char* m_error = "";
    BatchScan m_scan;
};

} // namespace

BatchScan scanBatch(std::string_view text)
{
    return Scanner(text).run();
}

} // namespace telvora::collector
