#include <tools/host/Markers.h>

#include <tools/host/ScriptError.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace telvora::host {

namespace {

// Calls `replace` for every value, a container before its elements. Where `replace` returns true,
// the elements are skipped.
template<typename Replace> void walk(Value& root, const Replace& replace)
{
    std::vector<Value*> unvisited { &root };
    while (!unvisited.empty()) {
        Value& value = *unvisited.back();
        unvisited.pop_back();
        if (replace(value))
            continue;
        if (Dictionary* dictionary = value.if_object()) {
            for (auto& member : *dictionary)
                unvisited.push_back(&member.value());
        } else if (Array* array = value.if_array()) {
            for (Value& element : *array)
                unvisited.push_back(&element);
        }
    }
}

// The value in {NAME: value}; null for anything else.
const Value* markerContent(const Value& value, std::string_view name)
{
    const Dictionary* dictionary = value.if_object();
    return dictionary && dictionary->size() == 1 ? dictionary->if_contains(name) : nullptr;
}

double numberNamed(const Value& name)
{
    if (name == "nan")
        return std::numeric_limits<double>::quiet_NaN();
    if (name == "inf")
        return std::numeric_limits<double>::infinity();
    if (name == "-inf")
        return -std::numeric_limits<double>::infinity();
    throw ScriptError(R"($double is "nan", "inf" or "-inf")");
}

std::string_view nameOf(double number)
{
    return std::isnan(number) ? "nan" : number > 0 ? "inf" : "-inf";
}

int digitValue(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    throw ScriptError("$bytes is a text of hexadecimal digits, two a byte");
}

std::string bytesWritten(const Value& hexadecimal)
{
    const auto* digits = hexadecimal.if_string();
    if (!digits || digits->size() % 2 != 0)
        throw ScriptError("$bytes is a text of hexadecimal digits, two a byte");
    std::string bytes;
    bytes.reserve(digits->size() / 2);
    for (std::size_t index = 0; index < digits->size(); index += 2) {
        bytes.push_back(static_cast<char>(
            digitValue((*digits)[index]) * 16 + digitValue((*digits)[index + 1])));
    }
    return bytes;
}

} // namespace

void resolveMarkers(Value& value)
{
    walk(value, [](Value& candidate) {
        if (const Value* name = markerContent(candidate, "$double")) {
            candidate = numberNamed(*name);
            return true;
        }
        if (const Value* hexadecimal = markerContent(candidate, "$bytes")) {
            candidate = Value(bytesWritten(*hexadecimal));
            return true;
        }
        return false;
    });
}

void replaceMarker(Value& value, std::string_view name, std::int64_t number)
{
    walk(value, [&](Value& candidate) {
        const Value* content = markerContent(candidate, name);
        if (!content || *content != 0)
            return false;
        candidate = number;
        return true;
    });
}

std::string lineText(const Dictionary& line)
{
    if (auto text = encode(line))
        return std::move(*text);

    Value writable(copy(line));
    walk(writable, [](Value& candidate) {
        const double* number = candidate.if_double();
        if (!number || std::isfinite(*number))
            return false;
        candidate = Dictionary { { "$double", nameOf(*number) } };
        return true;
    });
    std::optional<std::string> text = encode(writable);
    dispose(std::move(writable));
    return std::move(text).value_or(std::string());
}

} // namespace telvora::host
