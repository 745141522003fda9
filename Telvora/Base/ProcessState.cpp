#include <Telvora/Base/ProcessState.h>

#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/NeverDestroyed.h>

#include <optional>
#include <vector>

namespace telvora::detail {

namespace {

// The one that joined last.
constinit std::atomic<ProcessState*> s_newest { nullptr };
constinit std::atomic<unsigned> s_renewals { 0 };
// Absent until the first, since no list is a constant under _GLIBCXX_DEBUG.
constinit NeverDestroyed<Guarded<std::optional<std::vector<const void*>>>> s_kept;

} // namespace

void ProcessState::join() noexcept
{
    if (m_isListed.load(std::memory_order_relaxed) || m_isListed.exchange(true))
        return;
    m_next = s_newest.load(std::memory_order_relaxed);
    while (!s_newest.compare_exchange_weak(m_next, this, std::memory_order_release)) { }
}

void ProcessState::keep(const void* object)
{
    s_kept->with([&](auto& kept) {
        if (!kept)
            kept.emplace();
        kept->push_back(object);
    });
}

void ProcessState::renewAll()
{
    for (ProcessState* state = s_newest.load(std::memory_order_acquire); state;
         state = state->m_next)
        state->retire();
    // Read again: retiring may have run code of the host.
    for (ProcessState* state = s_newest.load(std::memory_order_acquire); state;
         state = state->m_next)
        state->renew();
    ++s_renewals;
}

unsigned ProcessState::renewalCount() noexcept
{
    return s_renewals.load(std::memory_order_relaxed);
}

} // namespace telvora::detail
