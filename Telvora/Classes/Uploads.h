#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/Signal.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <utility>

namespace telvora::detail {

/// The uploads of all channels: which are under way, and whether new ones may begin.
///
/// Each belongs to a generation. Whoever waits for those of today begins a new generation, so that
/// uploads that begin later do not make the wait longer.
///
/// Life: one, made on first use and never destroyed. The manager makes it.
/// Threads: any.
class Uploads {
public:
    static Uploads& shared();

    /// One upload, which is under way until this is destroyed.
    class UnderWay {
    public:
        UnderWay() noexcept
            : m_generation(shared().begin())
        {
        }
        UnderWay(UnderWay&& other) noexcept
            : m_generation(std::exchange(other.m_generation, none))
        {
        }
        ~UnderWay()
        {
            if (m_generation != none)
                shared().end(m_generation);
        }

        UnderWay& operator=(UnderWay&&) = delete;

    private:
        static constexpr std::uint64_t none = ~std::uint64_t(0);

        std::uint64_t m_generation;
    };

    /// Sets `signal` as soon as all have ended that are under way now. Throws std::bad_alloc.
    void whenEnded(std::shared_ptr<Signal> signal) TELVORA_EXCLUDES(m_lock);

    bool isNoneUnderWay() const TELVORA_EXCLUDES(m_lock);

    /// From now on none begins.
    void stop() noexcept { m_isStopped.store(true, std::memory_order_relaxed); }
    bool mayBegin() const noexcept { return !m_isStopped.load(std::memory_order_relaxed); }

private:
    struct Generation {
        std::size_t underWay = 0;
        // Set when this generation and all before it have ended; null for the last one.
        std::shared_ptr<Signal> ended;
    };

    std::uint64_t begin() noexcept TELVORA_EXCLUDES(m_lock);
    void end(std::uint64_t generation) noexcept TELVORA_EXCLUDES(m_lock);
    void removeEnded() noexcept TELVORA_REQUIRES(m_lock);

    std::atomic<bool> m_isStopped { false };

    mutable Mutex m_lock;
    // Never empty. The last one is that of new uploads.
    std::deque<Generation> m_generations TELVORA_GUARDED_BY(m_lock) { Generation() };
    // How many were removed at the front.
    std::uint64_t m_removed TELVORA_GUARDED_BY(m_lock) = 0;
};

} // namespace telvora::detail
