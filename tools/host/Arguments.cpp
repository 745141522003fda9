#include <tools/host/Arguments.h>

#include <tools/host/ScriptError.h>

#include <utility>

namespace telvora::host {

namespace {

[[noreturn]] void refuse(std::string_view what, std::string_view wanted)
{
    throw ScriptError("\"" + std::string(what) + "\" wants " + std::string(wanted));
}

template<typename T> T& wanted(T* found, std::string_view what, std::string_view kind)
{
    if (!found)
        refuse(what, kind);
    return *found;
}

} // namespace

std::string asText(const Value& value, std::string_view what)
{
    const auto& text = wanted(value.if_string(), what, "a text");
    return std::string(text.data(), text.size());
}

bool asFlag(const Value& value, std::string_view what)
{
    return wanted(value.if_bool(), what, "true or false");
}

std::int64_t asInteger(const Value& value, std::string_view what)
{
    return wanted(value.if_int64(), what, "a whole number of 64 bits");
}

double asNumber(const Value& value, std::string_view what)
{
    if (const auto* number = value.if_int64())
        return static_cast<double>(*number);
    if (const auto* number = value.if_uint64())
        return static_cast<double>(*number);
    return wanted(value.if_double(), what, "a number");
}

const Dictionary& asDictionary(const Value& value, std::string_view what)
{
    return wanted(value.if_object(), what, "an object");
}

const Array& asArray(const Value& value, std::string_view what)
{
    return wanted(value.if_array(), what, "a list");
}

StringDictionary asStrings(const Value& value, std::string_view what)
{
    StringDictionary strings;
    for (const auto& member : asDictionary(value, what)) {
        const std::string key(member.key());
        strings.emplace(key, asText(member.value(), std::string(what) + "." + key));
    }
    return strings;
}

std::vector<std::string> asTexts(const Value& value, std::string_view what)
{
    std::vector<std::string> texts;
    for (const Value& element : asArray(value, what))
        texts.push_back(asText(element, what));
    return texts;
}

std::optional<std::string> asOptionalText(const Value& value, std::string_view what)
{
    return value.is_null() ? std::nullopt : std::optional(asText(value, what));
}

const Value& Arguments::value(std::string_view name) const
{
    const Value* found = m_line.if_contains(name);
    if (!found)
        throw ScriptError("\"" + std::string(name) + "\" is missing");
    return *found;
}

const Value* Arguments::given(std::string_view name) const
{
    const Value* found = m_line.if_contains(name);
    return found && !found->is_null() ? found : nullptr;
}

bool Arguments::flag(std::string_view name, bool otherwise) const
{
    const Value* found = given(name);
    return found ? asFlag(*found, name) : otherwise;
}

std::int64_t Arguments::integer(std::string_view name, std::int64_t otherwise) const
{
    const Value* found = given(name);
    return found ? asInteger(*found, name) : otherwise;
}

double Arguments::number(std::string_view name, double otherwise) const
{
    const Value* found = given(name);
    return found ? asNumber(*found, name) : otherwise;
}

std::string Arguments::text(std::string_view name, std::string otherwise) const
{
    const Value* found = given(name);
    return found ? asText(*found, name) : std::move(otherwise);
}

std::optional<std::string> Arguments::optionalText(std::string_view name) const
{
    const Value* found = given(name);
    return found ? std::optional(asText(*found, name)) : std::nullopt;
}

Limits limitsOf(const Arguments& arguments, Limits otherwise)
{
    const auto read = [&](std::string_view name, std::optional<std::uint64_t>& limit) {
        if (!arguments.has(name))
            return;
        limit.reset();
        if (!arguments.given(name))
            return;
        const std::int64_t number = arguments.integer(name);
        if (number < 0)
            throw ScriptError('"' + std::string(name) + "\" wants a number that is not negative");
        limit = static_cast<std::uint64_t>(number);
    };
    read("events", otherwise.events);
    read("batches", otherwise.batches);
    read("bytes", otherwise.bytes);
    if (arguments.given("drop")) {
        otherwise.drop = arguments.choice<DropFirst>(
            "drop", { { "oldest", DropFirst::oldest }, { "newest", DropFirst::newest } });
    }
    return otherwise;
}

} // namespace telvora::host
