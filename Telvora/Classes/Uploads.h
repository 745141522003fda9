#pragma once

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/Signal.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace telvora::detail {

/// The uploads of all channels: which are under way, and whether new ones may begin.
///
/// Each belongs to a generation. Whoever waits for those of today begins a new generation, so that
/// uploads that begin later do not make the wait longer.
///
/// Consent is given for a time. What was begun in it does not outlive it: the uploads of that time
/// share a flag, which is set when the consent is withdrawn, and a new time has a new flag.
///
/// Life: one, made on first use and never destroyed. The manager makes it.
/// Threads: any.
/// Fork: in a forked child none begins, and no lock is taken.
class Uploads {
public:
    static Uploads& shared();

    /// One upload, which is under way until this is destroyed.
    class UnderWay {
    public:
        UnderWay() noexcept
            : m_uploads(&shared())
            , m_generation(m_uploads->begin())
        {
        }
        UnderWay(UnderWay&& other) noexcept
            : m_uploads(std::exchange(other.m_uploads, nullptr))
            , m_generation(other.m_generation)
        {
        }
        ~UnderWay()
        {
            if (m_uploads)
                m_uploads->end(m_generation);
        }

        UnderWay& operator=(UnderWay&&) = delete;

    private:
        // Null once it was moved.
        Uploads* m_uploads;
        std::uint64_t m_generation;
    };

    /// Sets `signal` as soon as all have ended that are under way now. Throws std::bad_alloc.
    void whenEnded(std::shared_ptr<Signal> signal) TELVORA_EXCLUDES(m_lock);

    bool isNoneUnderWay() const TELVORA_EXCLUDES(m_lock);

    /// From now on none begins.
    void stop() noexcept TELVORA_EXCLUDES(m_lock);
    /// Whether one may begin now; never in a forked child. Costs a load or two, since the intake
    /// asks for every event.
    bool mayBegin() const noexcept
    {
        return m_mayBegin.load(std::memory_order_relaxed) && !isForkedChild();
    }

    /// True once the consent is withdrawn that is given now.
    using Withdrawn = std::shared_ptr<const std::atomic<bool>>;
    Withdrawn consent() const TELVORA_EXCLUDES(m_lock);

    /// Whether the host's last word is that it consents.
    bool isConsentWanted() const noexcept
    {
        return m_isConsentWanted.load(std::memory_order_relaxed);
    }
    /// Takes note of the host's word; without consent what is under way is withdrawn at once. A new
    /// time of consent begins with renewConsent(), when everything of the old one is dropped.
    void wantConsent(bool isWanted) noexcept TELVORA_EXCLUDES(m_lock);
    /// Does nothing if the consent is not withdrawn, or the host has withdrawn it again meanwhile.
    /// Throws std::bad_alloc.
    void renewConsent() TELVORA_EXCLUDES(m_lock);

private:
    struct Generation {
        std::size_t underWay = 0;
        // Set when this generation and all before it have ended; null for the last one.
        std::shared_ptr<Signal> ended;
    };

    std::uint64_t begin() noexcept TELVORA_EXCLUDES(m_lock);
    void end(std::uint64_t generation) noexcept TELVORA_EXCLUDES(m_lock);
    void removeEnded() noexcept TELVORA_REQUIRES(m_lock);
    void decide() noexcept TELVORA_REQUIRES(m_lock);

    std::atomic<bool> m_mayBegin { true };
    // Changed with the lock held.
    std::atomic<bool> m_isConsentWanted { true };

    mutable Mutex m_lock;
    bool m_isStopped TELVORA_GUARDED_BY(m_lock) = false;
    // Never null.
    std::shared_ptr<std::atomic<bool>> m_withdrawn TELVORA_GUARDED_BY(m_lock)
        = std::make_shared<std::atomic<bool>>(false);
    // Never empty. The last one is that of new uploads.
    std::vector<Generation> m_generations TELVORA_GUARDED_BY(m_lock) { Generation() };
    // How many were removed at the front.
    std::uint64_t m_removed TELVORA_GUARDED_BY(m_lock) = 0;
};

} // namespace telvora::detail
