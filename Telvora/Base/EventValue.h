#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>

#include <boost/json/storage_ptr.hpp>

#include <chrono>
#include <concepts>
#include <optional>
#include <ranges>
#include <string_view>
#include <type_traits>
#include <utility>

/// How the types of a host become values of an event, for EventBuilder::set() and toValue():
///
/// - a bool, a number, a text (also std::string_view), nullptr: as it is;
/// - a text as a pointer, as getenv() returns it: as the text; where the pointer is null, as null;
/// - a Value, a Dictionary, an Array: as a copy, however deep it is;
/// - an enum: as the text of rawValue(), a function in the enum's namespace; without one, as its
///   number;
/// - a std::optional: as what it holds. An absent one leaves the key out; in a list it is null;
/// - a range, as std::vector, std::array, std::span and std::set: as a list;
/// - a map with texts as keys: as a dictionary, in the map's order.
///
/// Optionals, ranges and maps may hold one another. Any other type is one error of the compiler
/// that says what is possible. So are a duration, since a number in an event has no unit unless its
/// key names one, and a single character, since Boost.JSON makes a number of it.
///
/// Threads: any; there is no state. Failure: std::bad_alloc.
namespace telvora {

namespace detail {

template<typename T>
inline constexpr bool isContainer
    = std::same_as<Value, T> || std::same_as<Dictionary, T> || std::same_as<Array, T>;

template<typename T> inline constexpr bool isOptional = false;
template<typename T> inline constexpr bool isOptional<std::optional<T>> = true;

template<typename T> inline constexpr bool isDuration = false;
template<typename Count, typename Period>
inline constexpr bool isDuration<std::chrono::duration<Count, Period>> = true;

// For the compiler they are numbers.
template<typename T> inline constexpr bool isCharacter = false;
template<> inline constexpr bool isCharacter<char> = true;
template<> inline constexpr bool isCharacter<wchar_t> = true;
template<> inline constexpr bool isCharacter<char8_t> = true;
template<> inline constexpr bool isCharacter<char16_t> = true;
template<> inline constexpr bool isCharacter<char32_t> = true;

template<typename T>
concept Text = std::convertible_to<const T&, std::string_view>;

template<typename T> using RawValue = decltype(rawValue(std::declval<const T&>()));

template<typename T>
concept NamedEnum = std::is_enum_v<T> && std::convertible_to<RawValue<T>, std::string_view>;

// What Boost.JSON makes a value of by itself.
template<typename T>
concept PlainValue = std::is_constructible_v<Value, const T&, boost::json::storage_ptr>;

template<typename T>
concept TextMap = std::ranges::input_range<const T> && requires
{
    typename T::mapped_type;
    requires Text<typename T::key_type>;
};

template<typename T> consteval bool isEventValue()
{
    if constexpr (std::is_enum_v<T> || (PlainValue<T> && !isCharacter<T>) || Text<T>) {
        return true;
    } else if constexpr (isOptional<T>) {
        return isEventValue<typename T::value_type>();
    } else if constexpr (TextMap<T>) {
        return isEventValue<typename T::mapped_type>();
    } else if constexpr (std::ranges::input_range<const T>) {
        // A std::filesystem::path is a range of paths.
        using Element = std::ranges::range_value_t<const T>;
        if constexpr (std::same_as<Element, T>)
            return false;
        else
            return isEventValue<Element>();
    } else {
        return false;
    }
}

// Does not compile. One sentence instead of the pages that a failed overload resolution prints.
template<typename T> constexpr void refuseAsEventValue()
{
    static_assert(!isDuration<T>,
        "A number in an event has no unit: instead of a duration, set its count() in the unit that "
        "the key names, as in set(\"ms\", std::chrono::duration<double, "
        "std::milli>(duration).count())");
    static_assert(!isCharacter<T>,
        "A single character would be a number in an event: set a text, as in set(\"key\", "
        "std::string(1, character)), or an int");
    static_assert(isDuration<T> || isCharacter<T> || isEventValue<T>(),
        "An event cannot hold this type: set a bool, a number, a text, an enum, a Dictionary, an "
        "Array, a Value, or an optional, a range or a map with text keys of these");
}

/// A copy in that memory, without recursion.
TELVORA_EXPORT Value copyIn(const Value& value, boost::json::storage_ptr storage);
TELVORA_EXPORT Value copyIn(const Dictionary& dictionary, boost::json::storage_ptr storage);
TELVORA_EXPORT Value copyIn(const Array& array, boost::json::storage_ptr storage);

template<typename T> Value makeValue(const T& source, const boost::json::storage_ptr& storage);

template<typename T> void setField(Dictionary& fields, std::string_view key, const T& source)
{
    if constexpr (isOptional<T>) {
        if (source)
            setField(fields, key, *source);
    } else {
        fields.insert_or_assign(key, makeValue(source, fields.storage()));
    }
}

template<typename T> Value makeValue(const T& source, const boost::json::storage_ptr& storage)
{
    if constexpr (NamedEnum<T>) {
        const auto& text = rawValue(source);
        return Value(std::string_view(text), storage);
    } else if constexpr (std::is_enum_v<T>) {
        return Value(static_cast<std::underlying_type_t<T>>(source), storage);
    } else if constexpr (isContainer<T>) {
        return copyIn(source, storage);
    } else if constexpr (std::is_pointer_v<T>) {
        return source ? Value(std::string_view(source), storage) : Value(nullptr, storage);
    } else if constexpr (PlainValue<T>) {
        return Value(source, storage);
    } else if constexpr (Text<T>) {
        return Value(static_cast<std::string_view>(source), storage);
    } else if constexpr (isOptional<T>) {
        return source ? makeValue(*source, storage) : Value(nullptr, storage);
    } else if constexpr (TextMap<T>) {
        Dictionary fields(storage);
        for (const auto& [key, value] : source)
            setField<typename T::mapped_type>(fields, key, value);
        return Value(std::move(fields));
    } else {
        Array list(storage);
        for (const auto& element : source)
            list.push_back(makeValue<std::ranges::range_value_t<const T>>(element, storage));
        return Value(std::move(list));
    }
}

} // namespace detail

/// The value of an enum, an optional, a range or a map, for a place where a Dictionary is written
/// by hand: `{ { "side", toValue(order.side) } }`. An absent optional is null there. So is a null
/// pointer to a text, which must not be written there without toValue().
template<typename T> Value toValue(const T& source)
{
    if constexpr (detail::isEventValue<T>())
        return detail::makeValue(source, {});
    else
        detail::refuseAsEventValue<T>();
    return {};
}

} // namespace telvora
