#pragma once

#include <Telvora/Base/Dictionary.h>

#include <utility>

namespace telvora::detail {

/// Owns a Dictionary or an Array that may be nested as deep as memory allows. The destructor does
/// not recurse, so an exception cannot exhaust the stack either. Moved, never copied.
///
/// Threads: a value without a lock.
template<typename Container> class AnyDepth {
public:
    AnyDepth() = default;
    explicit AnyDepth(Container&& container) noexcept
        : m_container(std::move(container))
    {
    }
    ~AnyDepth() { dispose(std::move(m_container)); }

    AnyDepth(AnyDepth&&) noexcept = default;
    AnyDepth& operator=(AnyDepth&& other) noexcept
    {
        dispose(std::exchange(m_container, std::move(other.m_container)));
        return *this;
    }

    Container& operator*() { return m_container; }
    const Container& operator*() const { return m_container; }
    Container* operator->() { return &m_container; }
    const Container* operator->() const { return &m_container; }

private:
    Container m_container;
};

} // namespace telvora::detail
