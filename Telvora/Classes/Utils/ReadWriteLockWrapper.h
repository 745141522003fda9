#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/ThreadAnnotations.h>

#include <mutex>
#include <utility>

namespace telvora {

/// Runs `block` between lock() and unlock() of `mutex` and returns its result. Unlocks also when
/// the block throws.
template<typename Lock, typename Block>
TELVORA_NO_THREAD_SAFETY_ANALYSIS auto withCriticalSection(Lock& mutex, Block&& block)
    -> decltype(block())
{
    const std::lock_guard<Lock> lock(mutex);
    return block();
}

/// Holds one value behind its own lock and copies it in and out.
///
/// Threads: any. The lock is not recursive.
///
/// Deliberate: modify() is two critical sections, a read and a write-back, so two threads that
/// modify at once can lose an update. A caller that needs one atomic step uses another lock.
template<typename T> class lockAtomic {
public:
    /// Holds `wrappedValue`.
    explicit lockAtomic(T wrappedValue = T())
        : m_value(std::move(wrappedValue))
    {
    }

    /// A copy of the value; T() in a forked child.
    T getValue() const { return m_value.get(); }
    /// Replaces the value. The old one is destroyed after the lock is released.
    void setValue(T newValue) { m_value.set(std::move(newValue)); }

    /// The same as getValue() and setValue().
    T wrappedValue() const { return getValue(); }
    /// The same as setValue().
    void setWrappedValue(T newValue) { setValue(std::move(newValue)); }

    /// Reads a copy, calls `change` with it while the lock is free, and writes it back.
    template<typename Change> void modify(Change&& change)
    {
        T temporary = getValue();
        change(temporary);
        setValue(std::move(temporary));
    }

private:
    detail::Guarded<T> m_value;
};

} // namespace telvora
