#pragma once

#include <Telvora/Base/Dictionary.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>

namespace telvora {

/// One value inside `levels` arrays.
inline Value deepArray(std::size_t levels)
{
    Value value = "bottom";
    for (std::size_t level = 0; level < levels; ++level) {
        Array around;
        around.push_back(std::move(value));
        value = std::move(around);
    }
    return value;
}

/// One value inside `levels` dictionaries. Each dictionary also has a number.
inline Dictionary deepDictionary(std::size_t levels)
{
    Dictionary dictionary { { "bottom", true } };
    for (std::size_t level = 0; level < levels; ++level) {
        Dictionary around;
        around.emplace("n", static_cast<std::int64_t>(level));
        around.emplace("in", std::move(dictionary));
        dictionary = std::move(around);
    }
    return dictionary;
}

/// Whether two values are equal, also in the kinds of their numbers, the sign of zero and the order
/// of their keys. Not for deep values.
inline bool isSame(const Value& left, const Value& right)
{
    if (left.kind() != right.kind())
        return false;
    if (left.is_double())
        return left == right && std::signbit(left.get_double()) == std::signbit(right.get_double());
    if (left.is_array())
        return std::equal(left.get_array().begin(), left.get_array().end(),
            right.get_array().begin(), right.get_array().end(), isSame);
    if (left.is_object()) {
        return std::equal(left.get_object().begin(), left.get_object().end(),
            right.get_object().begin(), right.get_object().end(),
            [](const auto& first, const auto& second) {
                return first.key() == second.key() && isSame(first.value(), second.value());
            });
    }
    return left == right;
}

/// Random JSON values of every kind; the same for the same seed.
class RandomJSON {
public:
    explicit RandomJSON(std::uint64_t seed)
        : m_engine(seed)
    {
    }

    std::uint64_t below(std::uint64_t bound) { return m_engine() % bound; }

    /// Finite; all exponents are equally likely.
    double number()
    {
        while (true) {
            const std::uint64_t bits = m_engine();
            double number = 0;
            std::memcpy(&number, &bits, sizeof number);
            if (std::isfinite(number))
                return number;
        }
    }

    /// ASCII, including characters that must be escaped, and characters of two to four bytes.
    std::string text()
    {
        static const std::string pieces[] { "a", "Z", "9", " ", "\"", "\\", "/", "\n", "\t",
            std::string(1, '\0'), "\x1F", "\x7F", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80" };
        std::string text;
        for (std::uint64_t left = below(12); left > 0; --left)
            text += pieces[below(std::size(pieces))];
        return text;
    }

    Value value(int depth)
    {
        switch (below(depth > 0 ? 8 : 6)) {
        case 0:
            return nullptr;
        case 1:
            return below(2) == 0;
        case 2:
            return static_cast<std::int64_t>(m_engine());
        case 3:
            return m_engine() | (std::uint64_t(1) << 63);
        case 4:
            return number();
        case 5:
            return Value(std::string_view(text()));
        case 6:
            return dictionary(depth - 1);
        default: {
            Array array;
            for (std::uint64_t left = below(5); left > 0; --left)
                array.push_back(value(depth - 1));
            return array;
        }
        }
    }

    Dictionary dictionary(int depth)
    {
        Dictionary dictionary;
        for (std::uint64_t left = below(8); left > 0; --left)
            dictionary[text()] = value(depth);
        return dictionary;
    }

private:
    std::mt19937_64 m_engine;
};

} // namespace telvora
