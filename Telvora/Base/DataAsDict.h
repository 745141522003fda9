#pragma once

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Fatal.h>
#include <Telvora/Base/Work.h>

#include <boost/describe/members.hpp>
#include <boost/mp11/algorithm.hpp>

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace telvora {

namespace detail {

// The keywords of C++20, with the alternative spellings of operators.
inline constexpr std::array<std::string_view, 92> keywords { "alignas", "alignof", "and", "and_eq",
    "asm", "auto", "bitand", "bitor", "bool", "break", "case", "catch", "char", "char16_t",
    "char32_t", "char8_t", "class", "co_await", "co_return", "co_yield", "compl", "concept",
    "const", "const_cast", "consteval", "constexpr", "constinit", "continue", "decltype", "default",
    "delete", "do", "double", "dynamic_cast", "else", "enum", "explicit", "export", "extern",
    "false", "float", "for", "friend", "goto", "if", "inline", "int", "long", "mutable",
    "namespace", "new", "noexcept", "not", "not_eq", "nullptr", "operator", "or", "or_eq",
    "private", "protected", "public", "register", "reinterpret_cast", "requires", "return", "short",
    "signed", "sizeof", "static", "static_assert", "static_cast", "struct", "switch", "template",
    "this", "thread_local", "throw", "true", "try", "typedef", "typeid", "typename", "union",
    "unsigned", "using", "virtual", "void", "volatile", "wchar_t", "while", "xor", "xor_eq" };

// The key of a property: its name, without the underscore that follows a keyword.
constexpr std::string_view keyOf(std::string_view name)
{
    if (!name.ends_with('_'))
        return name;
    const std::string_view withoutUnderscore = name.substr(0, name.size() - 1);
    const bool isKeyword
        = std::find(keywords.begin(), keywords.end(), withoutUnderscore) != keywords.end();
    return isKeyword ? withoutUnderscore : name;
}

using Storage = boost::json::storage_ptr;

// One property: its value, or a pointer to its container, which may be moved from if it is not
// const.
using Property
    = std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string_view,
        const StringDictionary*, const Dictionary*, Dictionary*, const Array*, Array*>;

inline Property asProperty(const std::string& text)
{
    return std::string_view(text);
}
inline Property asProperty(std::string_view text)
{
    return text;
}
inline Property asProperty(const char* text)
{
    return text ? Property(std::string_view(text)) : Property();
}

// A template, so that a pointer is not converted to bool.
template<std::same_as<bool> Flag> Property asProperty(Flag flag)
{
    return flag;
}
template<std::floating_point Number> Property asProperty(Number number)
{
    return static_cast<double>(number);
}
template<std::integral Number>
requires(!std::same_as<Number, bool> && !std::same_as<Number, char>) Property
    asProperty(Number number)
{
    if constexpr (std::signed_integral<Number>)
        return static_cast<std::int64_t>(number);
    else
        return static_cast<std::uint64_t>(number);
}

inline Property asProperty(const StringDictionary& strings)
{
    return &strings;
}
inline Property asProperty(const Dictionary& dictionary)
{
    return &dictionary;
}
inline Property asProperty(Dictionary&& dictionary)
{
    return &dictionary;
}
inline Property asProperty(const Array& array)
{
    return &array;
}
inline Property asProperty(Array&& array)
{
    return &array;
}

template<typename T> Property asProperty(const std::optional<T>& maybe)
{
    return maybe ? asProperty(*maybe) : Property();
}
template<typename T> Property asProperty(std::optional<T>&& maybe)
{
    return maybe ? asProperty(*std::move(maybe)) : Property();
}

// The value of a property, in the memory of `storage`. A container that may be moved out is, if it
// has the same memory, and otherwise copied and destroyed. Neither recurses.
TELVORA_EXPORT Value valueOf(const Property& property, const Storage& storage);

template<typename Record>
using Properties = boost::describe::describe_members<Record, boost::describe::mod_public>;

// The keys of a record's properties, in their order.
template<typename Record>
inline constexpr auto propertyKeys = [] {
    std::array<std::string_view, boost::mp11::mp_size<Properties<Record>>::value> keys;
    std::size_t count = 0;
    boost::mp11::mp_for_each<Properties<Record>>(
        [&](auto property) { keys[count++] = keyOf(property.name); });
    return keys;
}();

using PropertyKeys = std::span<const std::string_view>;

// The first key that two properties have; empty if all differ.
constexpr std::string_view repeatedKey(PropertyKeys keys)
{
    for (auto key = keys.begin(); key != keys.end(); ++key) {
        if (std::find(keys.begin(), key, *key) != key)
            return *key;
    }
    return {};
}

// Takes one property. The text of the key lasts as long as the program.
using TakeProperty = FunctionRef<void(std::string_view key, const Property& property)>;

// Passes on the properties of one record, in their order.
using PassProperties = FunctionRef<void(TakeProperty take)>;

template<typename AnyRecord> void passProperties(AnyRecord&& record, TakeProperty take)
{
    using Record = std::remove_cvref_t<AnyRecord>;
    if constexpr (constexpr std::string_view repeated = repeatedKey(propertyKeys<Record>);
                  !repeated.empty())
        fatal("Duplicate values for key: '" + std::string(repeated) + "'", "DataAsDict");
    boost::mp11::mp_for_each<Properties<Record>>([&](auto property) {
        constexpr std::string_view key = keyOf(property.name);
        take(key, asProperty(std::forward<AnyRecord>(record).*property.pointer));
    });
}

// Puts the properties of a record, which has these keys, into an empty dictionary. What may be
// moved out of the record is.
TELVORA_EXPORT void putProperties(PropertyKeys keys, PassProperties pass, Dictionary& dictionary);

// Empties the containers that may be moved out of the record. The record's own destructor would
// recurse through them.
TELVORA_EXPORT void disposeOfProperties(PassProperties pass);

// Compact JSON text of a record, from which decode() makes the very dictionary that
// putProperties() makes. Absent if no text does that: some properties have to be kept as values.
TELVORA_EXPORT std::optional<std::string> encodePlain(PassProperties pass);

// Compact JSON text of an object: the members of `under` whose keys the record does not have, then
// the record's properties. Absent where encode() gives no text.
TELVORA_EXPORT std::optional<std::string> encodeMerged(
    const Dictionary& under, PropertyKeys keys, PassProperties pass);

} // namespace detail

/// Turns a record into a dictionary: one entry for each stored property, in the order of
/// declaration, under the property's name. A record `R` derives from DataAsDict<R> and lists its
/// members with BOOST_DESCRIBE_STRUCT. A property is a flag, a number, text, a Dictionary, an
/// Array, a StringDictionary, or an optional one of these.
///
/// A property whose name would be a keyword is declared with an underscore behind it: the key of
/// `operator_` is "operator". A null `const char*` is an absent text.
///
/// An absent property is not left out: its key is there with the value null, and the JSON text
/// shows null. A key that is missing is not a property of the record.
///
/// Threads: a record is a value without a lock.
/// Failure: two properties of one name stop the process; the language rules that out.
template<typename Record> class DataAsDict {
public:
    /// The dictionary of a record that is kept; dictionaries and arrays are copied.
    Dictionary asDictionary() const& { return dictionaryOf(static_cast<const Record&>(*this)); }
    /// The dictionary of a record that is given up; dictionaries and arrays are moved out of it.
    Dictionary asDictionary() && { return dictionaryOf(static_cast<Record&&>(*this)); }

protected:
    /// For the record alone, which is made, copied and destroyed as itself.
    DataAsDict() = default;
    /// The same.
    ~DataAsDict() = default;
    /// The same.
    DataAsDict(const DataAsDict&) = default;
    /// The same.
    DataAsDict& operator=(const DataAsDict&) = default;

private:
    template<typename AnyRecord> static Dictionary dictionaryOf(AnyRecord&& record)
    {
        detail::AnyDepth<Dictionary> dictionary;
        const auto pass = [&](detail::TakeProperty take) {
            detail::passProperties(std::forward<AnyRecord>(record), take);
        };
        detail::putProperties(detail::propertyKeys<Record>, pass, *dictionary);
        return std::move(*dictionary);
    }
};

/// A type that DataAsDict can turn into a dictionary.
template<typename Record>
concept DataAsDictRecord = std::derived_from<Record, DataAsDict<Record>>;

} // namespace telvora
