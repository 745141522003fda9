#pragma once

#include <Telvora/Base/Dictionary.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace telvora::fuzz {

/// Makes values from the fuzzer's bytes.
class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size)
        : m_text(reinterpret_cast<const char*>(data), size)
    {
    }

    explicit Bytes(std::string_view text)
        : m_text(text)
    {
    }

    bool isEmpty() const { return m_text.empty(); }

    unsigned next()
    {
        if (m_text.empty())
            return 0;
        const auto byte = static_cast<unsigned char>(m_text.front());
        m_text.remove_prefix(1);
        return byte;
    }

    std::string_view text()
    {
        const std::size_t length = std::min<std::size_t>(next() % 24, m_text.size());
        const std::string_view drawn = m_text.substr(0, length);
        m_text.remove_prefix(length);
        return drawn;
    }

    /// The next bytes, up to `count`.
    Bytes part(std::size_t count)
    {
        const std::string_view first = m_text.substr(0, count);
        m_text.remove_prefix(first.size());
        return Bytes(first);
    }

    std::uint64_t bits()
    {
        std::uint64_t drawn = 0;
        for (int index = 0; index < 8; ++index)
            drawn = (drawn << 8) | next();
        return drawn;
    }

private:
    std::string_view m_text;
};

/// A value, and whether JSON can express all its numbers.
struct Drawn {
    Value value;
    bool isFinite = true;
};

/// A value as deep as the bytes allow, built from the inside out.
inline Drawn draw(Bytes bytes)
{
    Drawn drawn { Dictionary() };
    while (!bytes.isEmpty()) {
        Value& value = drawn.value;
        const unsigned kind = bytes.next() % 8;
        if (kind == 0) {
            Array array;
            array.emplace_back(std::move(value));
            value = std::move(array);
            continue;
        }
        if (kind == 1) {
            Dictionary dictionary;
            dictionary.emplace(bytes.text(), std::move(value));
            value = std::move(dictionary);
            continue;
        }
        Value leaf = nullptr;
        if (kind == 2)
            leaf = bytes.text();
        else if (kind == 3)
            leaf = static_cast<std::int64_t>(bytes.bits());
        else if (kind == 4)
            leaf = bytes.bits();
        else if (kind == 5) {
            const std::uint64_t bits = bytes.bits();
            double number = 0;
            std::memcpy(&number, &bits, sizeof number);
            leaf = number;
        } else if (kind == 6)
            leaf = bytes.next() % 2 == 0;

        if (leaf.is_double() && !std::isfinite(leaf.get_double()))
            drawn.isFinite = false;
        if (Array* array = value.if_array()) {
            array->emplace_back(std::move(leaf));
        } else if (value.get_object().emplace(bytes.text(), leaf).second == false
            && leaf.is_double()) {
            // The key existed and kept its value, so isFinite may be wrong: use an empty value.
            return Drawn { Dictionary() };
        }
    }
    return drawn;
}

} // namespace telvora::fuzz
