#pragma once

#include <Telvora/Base/ProcessState.h>

#include <atomic>

namespace telvora::detail {

/// An atomic of which the process has one. ProcessState::renewAll() sets it to its first value.
///
/// Life: static and constinit.
/// Threads: any.
// Without a destructor, which would run while the process ends; nothing deletes one.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor)
template<typename T> class ProcessValue final : ProcessState {
public:
    constexpr explicit ProcessValue(T first)
        : m_value(first)
        , m_first(first)
    {
    }

    /// For reading, which costs what an atomic costs.
    const std::atomic<T>* operator->() const { return &m_value; }
    /// For changing.
    std::atomic<T>& change() noexcept
    {
        join();
        return m_value;
    }

private:
    void renew() override { m_value.store(m_first); }

    std::atomic<T> m_value;
    const T m_first;
};

} // namespace telvora::detail
