#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/Mutex.h>

#include <utility>

namespace telvora {

/// Runs `block` between lock() and unlock() of any lock, unlocks also when the block throws, and
/// gives its result back.
template<typename Lock, typename Block>
TELVORA_NO_THREAD_SAFETY_ANALYSIS auto withCriticalSection(Lock& lock, Block&& block)
    -> decltype(block())
{
    class Section {
    public:
        explicit Section(Lock& lock) TELVORA_NO_THREAD_SAFETY_ANALYSIS : m_lock(lock)
        {
            m_lock.lock();
        }
        ~Section() TELVORA_NO_THREAD_SAFETY_ANALYSIS { m_lock.unlock(); }

    private:
        Lock& m_lock;
    };
    const Section section(lock);
    return block();
}

/// Holds one value behind a lock of its own and copies it in and out.
///
/// Threads: any. The lock is not recursive.
///
/// Deliberate: modify() is two critical sections, a read and a write-back, so two threads that
/// modify at once can lose an update. Whoever needs one atomic step takes a lock of his own.
template<typename T> class lockAtomic {
public:
    explicit lockAtomic(T wrappedValue = T())
        : m_value(std::move(wrappedValue))
    {
    }

    /// T() in a forked child.
    T getValue() const { return m_value.get(); }
    /// The old value goes after the lock.
    void setValue(T newValue) { m_value.set(std::move(newValue)); }

    T wrappedValue() const { return getValue(); }
    void setWrappedValue(T newValue) { setValue(std::move(newValue)); }

    /// Reads a copy, lets `change` work on it with the lock free, and writes it back.
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
