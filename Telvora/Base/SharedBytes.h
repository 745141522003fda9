#pragma once

#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

namespace telvora {

/// Bytes that many share and nobody changes: the body of a request, which the request, its retry
/// and whoever looks at it hold together. A copy shares the bytes.
///
/// Threads: a value without a lock. Several threads may read the same bytes.
/// Failure: making one that is not empty throws std::bad_alloc where there is no memory.
class SharedBytes {
public:
    /// No bytes.
    SharedBytes() = default;
    /// Takes the string as it is, with its spare capacity.
    SharedBytes(std::string bytes)
        : m_bytes(bytes.empty() ? nullptr : std::make_shared<const std::string>(std::move(bytes)))
    {
    }
    /// A copy of the text, which ends with a zero.
    SharedBytes(const char* text)
        : SharedBytes(std::string(text))
    {
    }

    /// The bytes; valid as long as one that shares them.
    std::string_view view() const { return m_bytes ? std::string_view(*m_bytes) : ""; }
    /// The same as view().
    operator std::string_view() const { return view(); }
    /// A copy of the bytes.
    operator std::string() const { return std::string(view()); }

    /// The first byte; never null.
    const char* data() const { return view().data(); }
    /// How many bytes there are.
    std::size_t size() const { return view().size(); }
    /// Whether there are none.
    bool empty() const { return !m_bytes; }

    /// Compares the bytes.
    friend bool operator==(const SharedBytes& lhs, const SharedBytes& rhs)
    {
        return lhs.m_bytes == rhs.m_bytes || lhs.view() == rhs.view();
    }
    friend bool operator==(const SharedBytes& lhs, std::string_view rhs)
    {
        return lhs.view() == rhs;
    }
    friend bool operator==(const SharedBytes& lhs, const char* rhs) { return lhs.view() == rhs; }
    friend bool operator==(const SharedBytes& lhs, const std::string& rhs)
    {
        return lhs.view() == rhs;
    }
    friend std::ostream& operator<<(std::ostream& stream, const SharedBytes& bytes)
    {
        return stream << bytes.view();
    }

private:
    std::shared_ptr<const std::string> m_bytes;
};

} // namespace telvora
