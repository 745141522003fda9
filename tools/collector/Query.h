#pragma once

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace telvora::collector {

/// What is wrong with a query, for the answer.
class QueryError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/// The parameters behind the question mark of a request, percent escapes decoded. A plus sign is
/// a plus sign, because paths may have one.
///
/// Failure: everything here throws QueryError for a query that is wrong.
class Query {
public:
    /// Takes no parameters but the `known` ones, and each once at most.
    Query(std::string_view target, std::initializer_list<std::string_view> known);

    std::optional<std::string> text(std::string_view name) const;

    /// A number from 0, cut to a whole one; `standard` where the parameter is missing.
    std::uint64_t count(std::string_view name, std::uint64_t standard) const;

    /// A number of seconds, or a number with a unit ("2min").
    std::chrono::milliseconds duration(std::string_view name, std::chrono::milliseconds standard,
        std::chrono::milliseconds longest) const;

private:
    std::map<std::string, std::string, std::less<>> m_values;
};

/// `text` with its percent escapes decoded. Absent where one is not % and two hexadecimal digits.
std::optional<std::string> percentDecoded(std::string_view text);

/// `text` as a value within a query. Letters, digits and "/-._~" stay as they are.
std::string percentEncoded(std::string_view text);

} // namespace telvora::collector
