#include <Telvora/Classes/Utils/Arrivals.h>

#include <algorithm>
#include <atomic>

namespace telvora::detail {

std::uint64_t nextArrival() noexcept
{
    // Goes on when a test takes the platform down: only the order matters.
    static constinit std::atomic<std::uint64_t> last { 0 };
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

void Arrivals::makeRoom()
{
    if (m_runs.size() == m_runs.capacity())
        m_runs.reserve(2 * m_runs.size() + 1);
}

void Arrivals::add(std::uint64_t arrival) noexcept
{
    if (!m_runs.empty() && m_runs.back().first + m_runs.back().count == arrival)
        ++m_runs.back().count;
    else
        m_runs.push_back({ arrival, 1 });
}

std::uint64_t Arrivals::operator[](std::size_t position) const
{
    std::size_t run = m_removed;
    while (position >= m_runs[run].count)
        position -= m_runs[run++].count;
    return m_runs[run].first + position;
}

void Arrivals::removeFirst(std::size_t count) noexcept
{
    while (count > 0) {
        Run& run = m_runs[m_removed];
        const std::size_t removed = std::min(count, run.count);
        run.first += removed;
        run.count -= removed;
        count -= removed;
        if (run.count == 0)
            ++m_removed;
    }
    if (m_removed > m_runs.size() / 2) {
        m_runs.erase(m_runs.begin(), m_runs.begin() + static_cast<std::ptrdiff_t>(m_removed));
        m_removed = 0;
    }
}

void Arrivals::removeLast(std::size_t count) noexcept
{
    while (count > 0) {
        Run& run = m_runs.back();
        const std::size_t removed = std::min(count, run.count);
        run.count -= removed;
        count -= removed;
        if (run.count == 0)
            m_runs.pop_back();
    }
    if (m_removed == m_runs.size())
        *this = {};
}

} // namespace telvora::detail
