#pragma once

#include <Telvora/Platform/Qt/BusyTime.h>
#include <Telvora/Platform/Qt/FrameMeter.h>

#include <chrono>
#include <memory>
#include <utility>

namespace telvora::detail {

/// The frames of one window, for the toolkit that draws it.
///
/// Threads: prepared() on the GUI thread, the others on any.
class FrameClock {
public:
    FrameClock(std::shared_ptr<FrameMeter> meter, std::shared_ptr<BusyTime> busy)
        : m_meter(std::move(meter))
        , m_busy(std::move(busy))
    {
    }

    void setInterval(Milliseconds interval) { m_meter->setInterval(m_window, interval); }
    /// The work for a frame is done but for the drawing.
    void prepared() { m_meter->framePrepared(m_window, m_busy->began()); }
    void drawn() { m_meter->frameDrawn(m_window); }
    void shown() { m_meter->frameShown(m_window, std::chrono::steady_clock::now()); }
    void interrupt() { m_meter->interrupt(m_window); }

private:
    const std::shared_ptr<FrameMeter> m_meter;
    const std::shared_ptr<BusyTime> m_busy;
    FrameMeter::Window m_window;
};

} // namespace telvora::detail
