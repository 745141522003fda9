#include <Telvora/Platform/Qt/FrameMeter.h>

#include <algorithm>
#include <utility>

namespace telvora::detail {

FrameMeter::FrameMeter(FrameLimits limits, Report report)
    : m_limits(limits)
    , m_report(std::move(report))
{
}

void FrameMeter::pageAppeared(std::string page, Time time)
{
    const MutexLock lock(m_lock);
    m_page = std::move(page);
    ++m_pageNumber;
    m_pageAppeared = time;
    m_firstFrame.reset();
}

void FrameMeter::setInterval(Window& window, Milliseconds interval)
{
    const MutexLock lock(m_lock);
    window.m_interval = interval;
}

void FrameMeter::framePrepared(Window& window, Time began)
{
    const MutexLock lock(m_lock);
    window.m_prepared = Window::Frame { began, m_pageNumber };
}

void FrameMeter::frameDrawn(Window& window)
{
    const MutexLock lock(m_lock);
    window.m_drawn = std::exchange(window.m_prepared, std::nullopt);
}

void FrameMeter::interrupt(Window& window)
{
    const MutexLock lock(m_lock);
    window.m_prepared.reset();
    window.m_drawn.reset();
}

void FrameMeter::frameShown(Window& window, Time time) noexcept
try {
    std::optional<FrameReport> launch;
    std::optional<FrameReport> first;
    std::optional<FrameReport> late;
    std::optional<FrameReport> heldBack;
    {
        const MutexLock lock(m_lock);
        const auto frame = std::exchange(window.m_drawn, std::nullopt);
        if (!frame)
            return;
        const Milliseconds took = time - std::max(frame->began, window.m_shown);
        window.m_shown = time;

        if (!std::exchange(m_hasShown, true))
            launch = FrameReport { .kind = FrameReport::Kind::launch };
        // A frame that was prepared before the page came shows the page before.
        if (frame->page == m_pageNumber && m_pageNumber != 0 && !m_firstFrame) {
            m_firstFrame = time;
            first = FrameReport {
                .kind = FrameReport::Kind::first, .time = time - m_pageAppeared, .page = m_page
            };
        }
        // The launch is measured by its own report.
        if (!launch
            && (took > m_limits.frozen || took > window.m_interval * m_limits.slowIntervals)) {
            const bool isFrozen = took > m_limits.frozen;
            FrameReport report { .kind
                = isFrozen ? FrameReport::Kind::frozen : FrameReport::Kind::slow,
                .time = took,
                .total = m_firstFrame ? Milliseconds(time - *m_firstFrame) : Milliseconds(0),
                .page = m_page };
            heldBack = takeHeldBack(time);
            if (isFrozen)
                late = std::move(report);
            else
                takeSlow(std::move(report), time, late);
        }
    }
    for (const auto* report : { &launch, &heldBack, &first, &late }) {
        if (*report)
            m_report(**report);
    }
} catch (...) {
    // There is no memory: the frame is not reported.
}

void FrameMeter::takeSlow(FrameReport&& report, Time time, std::optional<FrameReport>& due)
{
    if (time - m_secondBegan >= std::chrono::seconds(1)) {
        m_secondBegan = time;
        m_reportsInSecond = 0;
    }
    if (m_heldBack) {
        ++m_heldBack->frames;
        return;
    }
    ++m_reportsInSecond;
    if (m_reportsInSecond < m_limits.slowReportsPerSecond)
        due = std::move(report);
    else if (m_reportsInSecond == m_limits.slowReportsPerSecond)
        m_heldBack = std::move(report);
}

std::optional<FrameReport> FrameMeter::takeHeldBack(Time time)
{
    if (!m_heldBack || time - m_secondBegan < std::chrono::seconds(1))
        return std::nullopt;
    return std::exchange(m_heldBack, std::nullopt);
}

bool FrameMeter::reportHeldBack(Time time) noexcept
try {
    std::optional<FrameReport> due;
    bool isHeldBack = false;
    {
        const MutexLock lock(m_lock);
        due = takeHeldBack(time);
        isHeldBack = m_heldBack.has_value();
    }
    if (due)
        m_report(*due);
    return isHeldBack;
} catch (...) {
    // There is no memory: the frame is not reported.
    return false;
}

} // namespace telvora::detail
