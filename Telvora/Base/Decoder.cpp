#include <Telvora/Base/Dictionary.h>

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/value_stack.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>

namespace telvora {

namespace {

using boost::json::error_code;
using boost::json::string_view;

// Builds a value from what the parser finds. Boost 1.81's own parser converts some doubles with an
// error of one unit in the last place. This one reads their text again with std::from_chars, so
// that a number is encoded as the number that was decoded.
class ValueBuilder {
public:
    // The parser asks for these limits under these names.
    static constexpr std::size_t max_object_size = boost::json::object::max_size();
    static constexpr std::size_t max_array_size = boost::json::array::max_size();
    static constexpr std::size_t max_key_size = boost::json::string::max_size();
    static constexpr std::size_t max_string_size = boost::json::string::max_size();

    ValueBuilder() { m_stack.reset(); }

    Value release() { return m_stack.release(); }

    bool on_document_begin(error_code&) { return true; }
    bool on_document_end(error_code&) { return true; }
    bool on_object_begin(error_code&) { return true; }
    bool on_array_begin(error_code&) { return true; }
    bool on_comment_part(string_view, error_code&) { return true; }
    bool on_comment(string_view, error_code&) { return true; }

    bool on_object_end(std::size_t size, error_code&)
    {
        m_stack.push_object(size);
        return true;
    }

    bool on_array_end(std::size_t size, error_code&)
    {
        m_stack.push_array(size);
        return true;
    }

    bool on_key_part(string_view part, std::size_t, error_code&)
    {
        m_stack.push_chars(part);
        return true;
    }

    bool on_key(string_view rest, std::size_t, error_code&)
    {
        m_stack.push_key(rest);
        return true;
    }

    bool on_string_part(string_view part, std::size_t, error_code&)
    {
        m_stack.push_chars(part);
        return true;
    }

    bool on_string(string_view rest, std::size_t, error_code&)
    {
        m_stack.push_string(rest);
        return true;
    }

    bool on_number_part(string_view part, error_code&)
    {
        m_number.append(part.data(), part.size());
        return true;
    }

    bool on_int64(std::int64_t number, string_view, error_code&)
    {
        m_number.clear();
        m_stack.push_int64(number);
        return true;
    }

    bool on_uint64(std::uint64_t number, string_view, error_code&)
    {
        m_number.clear();
        m_stack.push_uint64(number);
        return true;
    }

    bool on_double(double inexact, string_view rest, error_code& error)
    {
        m_number.append(rest.data(), rest.size());
        double exact = inexact;
        const char* end = m_number.data() + m_number.size();
        // Where the number is out of range, the parser's own result stays: zero, or infinity.
        std::from_chars(m_number.data(), end, exact);
        m_number.clear();
        if (!std::isfinite(exact)) {
            error = boost::json::error::exponent_overflow;
            return false;
        }
        m_stack.push_double(exact);
        return true;
    }

    bool on_bool(bool flag, error_code&)
    {
        m_stack.push_bool(flag);
        return true;
    }

    bool on_null(error_code&)
    {
        m_stack.push_null();
        return true;
    }

private:
    boost::json::value_stack m_stack;
    std::string m_number;
};

// Boost's parser recurses. A level takes 200 bytes of stack without optimisation.
constexpr std::size_t mostLevels = 8192;

} // namespace

Decoded decode(std::string_view text, std::size_t levels)
{
    boost::json::parse_options options;
    options.max_depth = std::min(levels, mostLevels);
    boost::json::basic_parser<ValueBuilder> parser(options);

    error_code error;
    const std::size_t used = parser.write_some(false, text.data(), text.size(), error);
    if (!error && used < text.size())
        error = boost::json::error::extra_data;
    if (error)
        return { std::nullopt, error.message() };
    return { parser.handler().release(), {} };
}

} // namespace telvora
