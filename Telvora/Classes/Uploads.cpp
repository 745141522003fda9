#include <Telvora/Classes/Uploads.h>

#include <Telvora/Base/Lazy.h>

namespace telvora::detail {

Uploads& Uploads::shared()
{
    static constinit Lazy<Uploads> shared;
    return shared.get([] { return new Uploads; });
}

std::uint64_t Uploads::begin() noexcept
{
    if (isForkedChild())
        return 0;
    const MutexLock lock(m_lock);
    ++m_generations.back().underWay;
    return m_removed + m_generations.size() - 1;
}

void Uploads::end(std::uint64_t generation) noexcept
{
    if (isForkedChild())
        return;
    const MutexLock lock(m_lock);
    --m_generations[generation - m_removed].underWay;
    removeEnded();
}

void Uploads::removeEnded() noexcept
{
    // There are as many as flushes that wait.
    while (m_generations.size() > 1 && m_generations.front().underWay == 0) {
        m_generations.front().ended->set();
        m_generations.erase(m_generations.begin());
        ++m_removed;
    }
}

void Uploads::whenEnded(std::shared_ptr<Signal> signal)
{
    if (isForkedChild())
        return;
    const MutexLock lock(m_lock);
    m_generations.emplace_back();
    m_generations[m_generations.size() - 2].ended = std::move(signal);
    removeEnded();
}

bool Uploads::isNoneUnderWay() const
{
    if (isForkedChild())
        return true;
    const MutexLock lock(m_lock);
    return m_generations.size() == 1 && m_generations.front().underWay == 0;
}

void Uploads::stop() noexcept
{
    const MutexLock lock(m_lock);
    m_isStopped = true;
    decide();
}

void Uploads::decide() noexcept
{
    m_mayBegin.store(!m_isStopped && !m_withdrawn->load(), std::memory_order_relaxed);
}

Uploads::Withdrawn Uploads::consent() const
{
    if (isForkedChild())
        return std::make_shared<const std::atomic<bool>>(true);
    const MutexLock lock(m_lock);
    return m_withdrawn;
}

void Uploads::wantConsent(bool isWanted) noexcept
{
    const MutexLock lock(m_lock);
    m_isConsentWanted.store(isWanted, std::memory_order_relaxed);
    if (!isWanted)
        m_withdrawn->store(true, std::memory_order_release);
    decide();
}

void Uploads::renewConsent()
{
    auto fresh = std::make_shared<std::atomic<bool>>(false);
    const MutexLock lock(m_lock);
    // The uploads of a time that has not ended keep their flag.
    if (m_isConsentWanted.load(std::memory_order_relaxed) && m_withdrawn->load())
        m_withdrawn.swap(fresh);
    decide();
}

} // namespace telvora::detail
