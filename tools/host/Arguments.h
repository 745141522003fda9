#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Classes/Limits.h>

#include <tools/host/ScriptError.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace telvora::host {

/// A value of a line as a certain type. Each throws ScriptError, naming `what`, where the value has
/// another type. asNumber() takes whole numbers too.
std::string asText(const Value& value, std::string_view what);
bool asFlag(const Value& value, std::string_view what);
std::int64_t asInteger(const Value& value, std::string_view what);
double asNumber(const Value& value, std::string_view what);
const Dictionary& asDictionary(const Value& value, std::string_view what);
const Array& asArray(const Value& value, std::string_view what);
StringDictionary asStrings(const Value& value, std::string_view what);
std::vector<std::string> asTexts(const Value& value, std::string_view what);

/// Absent for null.
std::optional<std::string> asOptionalText(const Value& value, std::string_view what);

/// The arguments of one line, by name. Reading one that is missing, or of the wrong kind, throws
/// ScriptError; one with a default may be missing or null.
///
/// Life: refers to a line that must outlive it.
class Arguments {
public:
    explicit Arguments(const Dictionary& line)
        : m_line(line)
    {
    }

    /// True for null as well.
    bool has(std::string_view name) const { return m_line.contains(name); }

    /// The argument, possibly null; a missing one is an error.
    const Value& value(std::string_view name) const;
    /// A null pointer where it is missing or null.
    const Value* given(std::string_view name) const;

    std::string text(std::string_view name) const { return asText(value(name), name); }
    bool flag(std::string_view name) const { return asFlag(value(name), name); }
    std::int64_t integer(std::string_view name) const { return asInteger(value(name), name); }
    double number(std::string_view name) const { return asNumber(value(name), name); }
    const Dictionary& dictionary(std::string_view name) const
    {
        return asDictionary(value(name), name);
    }
    const Array& array(std::string_view name) const { return asArray(value(name), name); }
    StringDictionary strings(std::string_view name) const { return asStrings(value(name), name); }
    std::vector<std::string> texts(std::string_view name) const
    {
        return asTexts(value(name), name);
    }
    /// Absent for null; a missing one is an error.
    std::optional<std::string> textOrNull(std::string_view name) const
    {
        return asOptionalText(value(name), name);
    }

    bool flag(std::string_view name, bool otherwise) const;
    std::int64_t integer(std::string_view name, std::int64_t otherwise) const;
    double number(std::string_view name, double otherwise) const;
    std::string text(std::string_view name, std::string otherwise) const;
    std::optional<std::string> optionalText(std::string_view name) const;

    /// The element of `cases` whose name the argument is; the first where it is left out.
    template<typename Case, std::size_t count>
    Case choice(
        std::string_view name, const std::pair<std::string_view, Case> (&cases)[count]) const
    {
        const std::string wanted = text(name, std::string(cases[0].first));
        for (const auto& [caseName, result] : cases) {
            if (caseName == wanted)
                return result;
        }
        throw ScriptError("\"" + std::string(name) + "\" has no case \"" + wanted + "\"");
    }

private:
    const Dictionary& m_line;
};

/// "events", "batches", "bytes" (null: none) and "drop"; what is left out is as in `otherwise`.
Limits limitsOf(const Arguments& arguments, Limits otherwise);

} // namespace telvora::host
