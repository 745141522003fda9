#include <Telvora/Base/Signal.h>

namespace telvora::detail {

namespace {

constinit thread_local unsigned t_noWaitScopes = 0;

} // namespace

void Signal::set() noexcept
{
    const MutexLock lock(m_lock);
    m_isSet = true;
    m_change.notify_all();
}

bool Signal::isSet() const
{
    const MutexLock lock(m_lock);
    return m_isSet;
}

bool Signal::waitFor(std::chrono::nanoseconds longest) const
{
    using Clock = std::chrono::steady_clock;
    const auto now = Clock::now();
    const bool isEndless = longest >= Clock::time_point::max() - now;
    const auto end = isEndless ? Clock::time_point::max() : now + longest;
    const MutexLock lock(m_lock);
    while (!m_isSet) {
        if (m_change.wait_until(m_lock, end) == std::cv_status::timeout)
            break;
    }
    return m_isSet;
}

NoWaitScope::NoWaitScope() noexcept
{
    ++t_noWaitScopes;
}

NoWaitScope::~NoWaitScope()
{
    --t_noWaitScopes;
}

bool NoWaitScope::isInside() noexcept
{
    return t_noWaitScopes > 0;
}

} // namespace telvora::detail
