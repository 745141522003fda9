#include <Telvora/Classes/Model/TrackerDataLifeCycleTrace.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Base/Lazy.h>
#include <Telvora/Base/ProcessValue.h>
#include <Telvora/Classes/Model/PageTransition.h>
#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/Platform.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <utility>
#include <vector>

namespace telvora {

namespace {

using Screen = std::shared_ptr<UIViewController>;
using Category = QuorvexLog::Category;

// Occasions and states are identified by position; the framework names them.
constexpr auto cameToTopOccasion = static_cast<LifeCycleTraceOccasion>(3);
constexpr auto disappearedOccasion = static_cast<LifeCycleTraceOccasion>(5);
constexpr auto handledState = static_cast<LifeCycleTraceState>(1);

// A change of page ends this long after the page came to the top, when its screen has settled.
constexpr std::chrono::seconds settlingTime { 2 };

constexpr int mostDelegations = 10;
// Far more than any real hierarchy has. Reached only where an application makes a new screen each
// time it is asked for one.
constexpr int mostSteps = 10'000;

constinit detail::ProcessValue<bool> s_isEnabled { false };

LifeCycleResolveRules resolveRules()
{
    return LifeCycleResolveRules({ { 0, 2 }, "Tracker_Data_End" });
}

bool isWhiteListed(std::string_view sceneName)
{
    const auto whiteList = TrackerDataExcavator::whiteList();
    return std::ranges::any_of(
        *whiteList, [&](const std::string& suffix) { return sceneName.ends_with(suffix); });
}

// The screen that `screen` delegates to, or `screen` itself; null when the delegate's screen is
// destroyed.
Screen afterDelegation(Screen screen)
{
    for (int moves = 0; moves < mostDelegations; ++moves) {
        const auto* delegate
            = dynamic_cast<const TrackerDataLifeCycleControllerDelegate*>(screen.get());
        if (!delegate)
            break;
        Screen substitute = delegate->trackerViewControllerInfo().vc.lock();
        if (!substitute)
            return nullptr;
        if (substitute == screen)
            break;
        screen = std::move(substitute);
    }
    return screen;
}

// The screens that a walk has visited. The pointers are weak, so that the walk keeps no screen
// alive; a new screen at the address of a destroyed one counts as not visited.
class VisitedScreens {
public:
    VisitedScreens() { m_screens.reserve(usualDepth); }

    // False when it was visited before.
    bool add(const Screen& screen)
    {
        const bool isVisited = std::ranges::any_of(m_screens, [&](const auto& visited) {
            return visited.first == screen.get() && !visited.second.expired();
        });
        if (!isVisited)
            m_screens.emplace_back(screen.get(), screen);
        return !isVisited;
    }

private:
    static constexpr std::size_t usualDepth = 8;

    std::vector<std::pair<const UIViewController*, std::weak_ptr<UIViewController>>> m_screens;
};

// The screen on top of `screen`; null where the walk meets no screen.
Screen topScreen(Screen screen)
{
    VisitedScreens visited;
    for (int steps = 0; screen && steps < mostSteps; ++steps) {
        screen = afterDelegation(std::move(screen));
        if (!screen)
            return nullptr;
        if (!visited.add(screen))
            return screen;
        if (isWhiteListed(screen->sceneName()))
            return screen;
        if (Screen presented = screen->presentedViewController())
            screen = std::move(presented);
        else if (screen->kind() == UIViewController::Kind::navigation)
            screen = screen->visibleViewController();
        else if (screen->kind() == UIViewController::Kind::tabBar)
            screen = screen->selectedViewController();
        else
            return screen;
    }
    return nullptr;
}

// Runs a walk over the host's screens; absent when one of them throws.
template<typename Walk> std::optional<ViewControllerInfo> guardedWalk(Walk&& walk)
{
    Screen top;
    detail::callHost([&] { top = walk(); }, { "A screen" });
    return top ? std::optional(ViewControllerInfo { top }) : std::nullopt;
}

std::string currentName()
{
    return TrackerDataExcavator::topViewControllerClassName().value_or("unknown");
}

} // namespace

std::optional<ViewControllerInfo> UIWindow::topViewController_monitorTracker() const
{
    return guardedWalk([this] { return topScreen(rootViewController()); });
}

std::optional<ViewControllerInfo> UIWindow::trackerTopViewControllerInfo()
{
    return guardedWalk([]() -> Screen {
        const auto window = platform().screens.keyWindow();
        return window ? topScreen(window->rootViewController()) : nullptr;
    });
}

TrackerDataLifeCycleTrace::TrackerDataLifeCycleTrace(std::string sceneName)
    : m_sceneName(std::move(sceneName))
    , m_occasionRule(resolveRules())
{
}

std::unique_ptr<TrackerDataLifeCycleTrace> TrackerDataLifeCycleTrace::create(
    const std::string& sceneName)
{
    return std::unique_ptr<TrackerDataLifeCycleTrace>(new TrackerDataLifeCycleTrace(sceneName));
}

std::optional<LifeCycleTraceOccasion> TrackerDataLifeCycleTrace::selectorResolve(
    std::string_view sel) const
{
    return lifeCycleTraceOccasion(sel);
}

void TrackerDataLifeCycleTrace::activeActionHandler(
    LifeCycleTraceOccasion occasion, LifeCycleTraceState state)
{
    if (state != handledState)
        return;
    if (occasion == cameToTopOccasion)
        cameToTop();
    else if (occasion == disappearedOccasion)
        disappeared();
}

void TrackerDataLifeCycleTrace::cameToTop()
{
    // A screen of the white list is the page itself, unless it is destroyed already.
    const Screen listed = isWhiteListed(m_sceneName) ? scene() : nullptr;
    TrackerDataExcavator::setTopViewControllerInfo(listed
            ? std::optional(ViewControllerInfo { listed })
            : UIWindow::trackerTopViewControllerInfo());
    checkAndUpdateTransitioningState(false);
}

void TrackerDataLifeCycleTrace::disappeared()
{
    QuorvexLog::log(Category::trackerData(), [] { return currentName() + " disappear"; });
    checkAndUpdateTransitioningState(true);
}

void TrackerDataLifeCycleTrace::checkAndUpdateTransitioningState(bool start)
{
    if (start) {
        QuorvexLog::log(Category::trackerTransition(), "ViewController Transitioning Start");
        detail::openTransition<TrackerDataExcavator>();
        return;
    }

    QuorvexLog::log(
        Category::trackerData(), [] { return "Top ViewController jump to => " + currentName(); });
    if (!detail::claimTransitionClose<TrackerDataExcavator>())
        return;
    platform().dispatch.globalAsyncAfter(settlingTime, [] {
        TrackerDataExcavator::setIsTransitioning(false);
        QuorvexLog::log(Category::trackerTransition(), "ViewController Transitioning End");
    });
}

TrackerDataLifeCycleMonitor& TrackerDataLifeCycleMonitor::shared()
{
    static constinit detail::Lazy<TrackerDataLifeCycleMonitor> shared;
    return shared.get([] { return new TrackerDataLifeCycleMonitor; });
}

TrackerDataLifeCycleMonitor::TrackerDataLifeCycleMonitor()
{
    platform().lifeCycleChecker.registerAdaptor(
        [](const std::string& sceneName) { return adaptor::create(sceneName); });
}

void TrackerDataLifeCycleMonitor::setup()
{
    shared();
}

bool TrackerDataLifeCycleMonitor::isEnabled()
{
    return s_isEnabled->load(std::memory_order_relaxed);
}

void TrackerDataLifeCycleMonitor::setIsEnabled(bool isEnabled)
{
    s_isEnabled.change().store(isEnabled, std::memory_order_relaxed);
}

} // namespace telvora
