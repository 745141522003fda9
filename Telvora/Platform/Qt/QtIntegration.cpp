#include <Telvora/Platform/Qt/QtIntegration.h>

#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <Telvora/Platform/Host/HostLifeCycleChecker.h>
#include <Telvora/Platform/Host/HostScreenHierarchy.h>
#include <Telvora/Platform/Platform.h>
#include <Telvora/Platform/Qt/BusyTime.h>
#include <Telvora/Platform/Qt/FrameClock.h>
#include <Telvora/Platform/Qt/PageWatch.h>
#include <Telvora/Platform/Qt/ProcessStart.h>
#include <Telvora/Start/ApplicationState.h>

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QEvent>
#include <QtCore/QHash>
#include <QtCore/QThread>
#include <QtGui/QGuiApplication>
#include <QtGui/QScreen>
#include <QtGui/QWindow>

#include <atomic>
#include <utility>

namespace telvora {

namespace detail {

namespace {

using namespace std::chrono;

// Just before main(): when this library's statics are made.
const steady_clock::time_point loadTime = steady_clock::now();

void report(const FrameReport& frame)
{
    TrackerManager& manager = TrackerManager::shared();
    switch (frame.kind) {
    case FrameReport::Kind::launch:
        break;
    case FrameReport::Kind::first:
        manager.enrollFirstFrameTrack(FirstFrame { .time = frame.time, .page = frame.page });
        break;
    case FrameReport::Kind::frozen:
        manager.enrollFrozenFrameTrack(
            FrozenFrame { .frozen = frame.time, .total = frame.total, .page = frame.page });
        break;
    case FrameReport::Kind::slow:
        if (frame.frames == 1) {
            manager.enrollSlowFrameTrack(
                SlowFrame { .slow = frame.time, .total = frame.total, .page = frame.page });
            break;
        }
        TrackerMeta record(TrackerMeta::T::custom("SLOW-FRAME"));
        record.p = frame.page;
        record.at = frame.time.count();
        record.ct = frame.total.count();
        record.extra = Dictionary { { "frames", frame.frames } };
        manager.enrollAPMReport(std::move(record));
        break;
    }
}

void reportLaunch()
{
    const auto sinceLoaded = steady_clock::now() - loadTime;
    // Where /proc cannot be read, what is known is the shortest that it can be.
    const nanoseconds age = processAge().value_or(sinceLoaded);
    TrackerManager::shared().enrollLaunchTrack(
        Launch { .d = system_clock::now() - age, .fp = sinceLoaded, .ct = age });
}

// Reports what the meter says, on the thread that showed the frame.
class FrameReporter {
public:
    explicit FrameReporter(const QtIntegrationOptions& options)
        : m_reportsFrames(options.reportsFrames)
        , m_reportsLaunch(options.reportsLaunch)
    {
    }

    void operator()(const FrameReport& frame) const
    {
        if (frame.kind == FrameReport::Kind::launch) {
            if (m_reportsLaunch)
                reportLaunch();
        } else if (m_reportsFrames) {
            report(frame);
            if (frame.kind == FrameReport::Kind::slow)
                askLater();
        }
    }

    void setMeter(const std::shared_ptr<FrameMeter>& meter) { m_later->meter = meter; }

private:
    struct Later {
        std::weak_ptr<FrameMeter> meter;
        std::atomic<bool> isQueued { false };
    };

    // Frames may be held back for the last report of this second.
    void askLater() const
    {
        if (m_later->isQueued.exchange(true))
            return;
        platform().dispatch.globalAsyncAfter(1s, [later = m_later] {
            later->isQueued = false;
            if (const auto meter = later->meter.lock())
                meter->reportHeldBack(steady_clock::now());
        });
    }

    bool m_reportsFrames;
    bool m_reportsLaunch;
    std::shared_ptr<Later> m_later = std::make_shared<Later>();
};

// The integration of one application. Threads: the GUI thread.
class QtIntegration final : public QObject {
public:
    QtIntegration(QGuiApplication& app, const QtIntegrationOptions& options,
        const QtToolkits& toolkits, HostLifeCycleChecker& checker, HostScreenHierarchy& screens)
        : QObject(&app)
        , m_options(options)
        , m_pages(checker, screens, [this](const std::string& name) { pageAppeared(name); })
        , m_isInBackground(isBackground(QGuiApplication::applicationState()))
    {
        FrameReporter reporter(options);
        m_meter = std::make_shared<FrameMeter>(options.frames, reporter);
        reporter.setMeter(m_meter);
        for (const MakeToolkit make : toolkits) {
            if (!make)
                continue;
            auto toolkit = make([this] { m_pages.touch(); });
            m_toolkits.push_back(toolkit.get());
            m_pages.addToolkit(std::move(toolkit));
        }
        app.installEventFilter(this);
        if (auto* dispatcher = QAbstractEventDispatcher::instance()) {
            connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, [this] {
                for (QtToolkit* toolkit : m_toolkits)
                    toolkit->waits();
                m_busy->waits();
            });
        }
        connect(&app, &QGuiApplication::focusWindowChanged, this, [this](QWindow* window) {
            if (window)
                m_pages.raise(*window);
        });
        connect(&app, &QGuiApplication::applicationStateChanged, this,
            [this](Qt::ApplicationState state) { stateChanged(state); });
        // Those that were there before.
        for (QWindow* window : QGuiApplication::topLevelWindows()) {
            if (window->isVisible())
                cameUp(*window);
        }
    }

    ~QtIntegration() override { m_meter->reportHeldBack(steady_clock::time_point::max()); }

    bool eventFilter(QObject* receiver, QEvent* event) noexcept override
    try {
        m_busy->eventComes();
        if (receiver->isWindowType())
            windowEvent(*static_cast<QWindow*>(receiver), *event);
        bool isTouched = false;
        for (QtToolkit* toolkit : m_toolkits)
            isTouched = toolkit->sees(*receiver, *event) || isTouched;
        if (isTouched)
            m_pages.touch();
        return false;
    } catch (...) {
        // There is no memory: the application gets its event all the same.
        return false;
    }

private:
    static bool isBackground(Qt::ApplicationState state)
    {
        return state == Qt::ApplicationSuspended || state == Qt::ApplicationHidden;
    }

    void windowEvent(QWindow& window, const QEvent& event)
    {
        switch (event.type()) {
        case QEvent::Show:
            cameUp(window);
            break;
        case QEvent::Hide:
        case QEvent::Close:
        case QEvent::WindowStateChange:
            interruptFrames(window);
            m_pages.touch();
            updateBackground();
            break;
        default:
            break;
        }
    }

    void cameUp(QWindow& window)
    {
        if (!m_frames.contains(&window)) {
            auto clock = std::make_shared<FrameClock>(m_meter, m_busy);
            m_frames.insert(&window, clock);
            const auto setInterval = [&window, clock] {
                const QScreen* screen = window.screen();
                const double rate = screen ? screen->refreshRate() : 0;
                if (rate > 0)
                    clock->setInterval(Milliseconds(1000 / rate));
            };
            setInterval();
            connect(&window, &QWindow::screenChanged, this, setInterval);
            // It is no QWindow any more then, so only its address is used.
            connect(&window, &QObject::destroyed, this, [this, gone = &window] {
                m_frames.remove(gone);
                updateBackground();
            });
            for (QtToolkit* toolkit : m_toolkits)
                toolkit->watch(window, clock);
        }
        m_pages.raise(window);
        updateBackground();
    }

    void interruptFrames(QWindow& window)
    {
        if (const auto clock = m_frames.value(&window))
            clock->interrupt();
    }

    void stateChanged(Qt::ApplicationState state)
    {
        m_isStateBackground = isBackground(state);
        updateBackground();
    }

    void updateBackground()
    {
        const bool isWithoutWindow
            = m_options.isBackgroundWithoutWindow && m_hadPage && !m_pages.hasVisibleWindow();
        const bool isInBackground = m_isStateBackground || isWithoutWindow;
        if (std::exchange(m_isInBackground, isInBackground) == isInBackground)
            return;
        for (const auto& clock : m_frames)
            clock->interrupt();
        if (isInBackground)
            enterBackground();
        else
            enterForeground();
    }

    void pageAppeared(const std::string& name)
    {
        m_hadPage = true;
        m_meter->pageAppeared(name, m_busy->began());
        if (m_options.reportsPageViews)
            TrackerManager::shared().enrollPageViewTrack(name);
    }

    const QtIntegrationOptions m_options;
    const std::shared_ptr<BusyTime> m_busy = std::make_shared<BusyTime>();
    std::shared_ptr<FrameMeter> m_meter;
    PageWatch m_pages;
    // Owned by m_pages.
    std::vector<QtToolkit*> m_toolkits;
    QHash<QWindow*, std::shared_ptr<FrameClock>> m_frames;
    bool m_isStateBackground = false;
    bool m_isInBackground;
    bool m_hadPage = false;
};

// The one of this process; null before it is installed and after its application has gone.
QtIntegration* s_installed = nullptr;

} // namespace

} // namespace detail

bool installQtIntegration(
    QGuiApplication& app, const QtIntegrationOptions& options, detail::QtToolkits toolkits) noexcept
try {
    const auto refuse = [](std::string_view why) {
        QuorvexLog::log(QuorvexLog::Category::tracker(), why);
        return false;
    };
    if (detail::s_installed)
        return refuse("The Qt integration is installed already");
    if (QThread::currentThread() != app.thread())
        return refuse("The Qt integration is installed on the GUI thread alone");
    auto* checker = dynamic_cast<HostLifeCycleChecker*>(&platform().lifeCycleChecker);
    auto* screens = dynamic_cast<HostScreenHierarchy*>(&platform().screens);
    if (!checker || !screens)
        return refuse("The Qt integration wants the screens and the lifecycle of Platform/Host");
    // The application owns it.
    detail::s_installed = new detail::QtIntegration(app, options, toolkits, *checker, *screens);
    QObject::connect(
        detail::s_installed, &QObject::destroyed, [] { detail::s_installed = nullptr; });
    return true;
} catch (...) {
    return false;
}

} // namespace telvora
