#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/Mutex.h>
#include <Telvora/Classes/Model/Measurements.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace telvora {

/// What counts as a slow or a frozen frame.
///
/// A frame's time runs from the moment in which the application began to work for it, or from the
/// frame before if that is later, until it is on the screen. Source of the two notions and of the
/// 700 ms: "Slow rendering" and "Frozen frames" in the Android vitals documentation.
struct FrameLimits {
    /// A frame is slow if it took more than this many refresh intervals of its screen. One interval
    /// is what a frame may take; half of one more is for the moments of waking and swapping, which
    /// vary on every system.
    double slowIntervals = 1.5;
    /// A frame is frozen, and not slow, if it took more than this.
    Milliseconds frozen { 700 };
    /// At most so many slow frames a second are reported. Those beyond are counted in the last of
    /// them, as "frames" in its "extra".
    int slowReportsPerSecond = 10;
};

namespace detail {

/// A frame that is to be reported.
struct FrameReport {
    enum class Kind {
        /// The first frame of all.
        launch,
        /// The first one of a page.
        first,
        slow,
        frozen,
    };
    Kind kind = Kind::first;
    /// How long the frame took; of a first frame: since the page came to the top.
    Milliseconds time {};
    /// Since the first frame of the page.
    Milliseconds total {};
    std::string page {};
    /// How many frames it stands for.
    int frames = 1;
};

/// Measures the frames of one application and decides which are reported.
///
/// Threads: any. A frame is prepared on the GUI thread and shown on the one that renders.
/// Failure: throws nothing; where there is no memory, a frame is not reported.
class TELVORA_EXPORT FrameMeter {
public:
    using Time = std::chrono::steady_clock::time_point;
    /// Called on the thread that showed the frame, with no lock held.
    using Report = std::function<void(const FrameReport&)>;

    FrameMeter(FrameLimits limits, Report report);

    /// The frames of one window.
    class Window {
        friend class FrameMeter;

        struct Frame {
            Time began {};
            // The number of the page that it shows; 0 for none.
            unsigned page = 0;
        };

        Milliseconds m_interval { 1000.0 / 60 };
        std::optional<Frame> m_prepared {};
        std::optional<Frame> m_drawn {};
        Time m_shown {};
    };

    /// Another page came to the top at `time`.
    void pageAppeared(std::string page, Time time) TELVORA_EXCLUDES(m_lock);

    /// The time between two frames of the window's screen; a sixtieth of a second until set.
    void setInterval(Window& window, Milliseconds interval) TELVORA_EXCLUDES(m_lock);

    /// A frame is prepared that shows what the window has now; the work for it began at `began`.
    void framePrepared(Window& window, Time began) TELVORA_EXCLUDES(m_lock);
    /// It is drawn now, perhaps while the next one is prepared.
    void frameDrawn(Window& window) TELVORA_EXCLUDES(m_lock);
    /// It is on the screen. Nothing happens if none was drawn.
    void frameShown(Window& window, Time time) noexcept TELVORA_EXCLUDES(m_lock);
    /// The frame under way will not be shown, and the next one does not follow it: the window is
    /// hidden or the application in the background.
    void interrupt(Window& window) TELVORA_EXCLUDES(m_lock);

    /// Reports what was held back for the last report of its second, if that is over at `time`.
    /// Returns whether anything is still held back.
    bool reportHeldBack(Time time) noexcept TELVORA_EXCLUDES(m_lock);

private:
    void takeSlow(FrameReport&& report, Time time, std::optional<FrameReport>& due)
        TELVORA_REQUIRES(m_lock);
    std::optional<FrameReport> takeHeldBack(Time time) TELVORA_REQUIRES(m_lock);

    const FrameLimits m_limits;
    const Report m_report;

    Mutex m_lock;
    std::string m_page TELVORA_GUARDED_BY(m_lock);
    unsigned m_pageNumber TELVORA_GUARDED_BY(m_lock) = 0;
    Time m_pageAppeared TELVORA_GUARDED_BY(m_lock) {};
    bool m_hasShown TELVORA_GUARDED_BY(m_lock) = false;
    // Absent until the page's first frame.
    std::optional<Time> m_firstFrame TELVORA_GUARDED_BY(m_lock);
    // A second begins with the first slow frame after the one before.
    Time m_secondBegan TELVORA_GUARDED_BY(m_lock) {};
    int m_reportsInSecond TELVORA_GUARDED_BY(m_lock) = 0;
    std::optional<FrameReport> m_heldBack TELVORA_GUARDED_BY(m_lock);
};

} // namespace detail

} // namespace telvora
