#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>

#include <memory>
#include <optional>
#include <string>

namespace telvora {

struct ViewControllerInfo;

/// One screen of the application: a page, or a container that shows other screens. Made by the
/// integration of a toolkit, which keeps it alive as long as the screen exists; the library holds
/// screens weakly.
///
/// Used by TrackerDataLifeCycleTrace and UIWindow (the page that the user sees) and by
/// TrackerManager (its name in reports).
///
/// Life: owned by a std::shared_ptr. A derived class must not derive from
/// std::enable_shared_from_this again: with two of them neither works.
///
/// Threads: called on the main thread, which calls the page lifecycle. className() is also called
/// on any thread that reports. That thread owns the screen during the call, so a screen that is
/// released meanwhile is destroyed on that thread.
class TELVORA_EXPORT UIViewController : public std::enable_shared_from_this<UIViewController> {
public:
    /// Which other screens it may contain.
    enum class Kind {
        /// None but one that it presents.
        plain,
        /// A stack of screens, of which the top one is visible.
        navigation,
        /// One screen for each tab, of which one is selected.
        tabBar,
    };

    virtual ~UIViewController() = default;

    /// The name of its class, as reports and log lines show it.
    virtual std::string className() const = 0;

    /// Its qualified class name, "Module.Class". The white list is compared with it.
    virtual std::string sceneName() const = 0;

    /// Says which of the three screens below it may have.
    virtual Kind kind() const { return Kind::plain; }

    /// The screen that it presents over itself, or null.
    virtual std::shared_ptr<UIViewController> presentedViewController() const { return nullptr; }
    /// Of a navigation controller: the screen at the top of its stack, or null.
    virtual std::shared_ptr<UIViewController> visibleViewController() const { return nullptr; }
    /// Of a tab-bar controller: the screen of the chosen tab, or null.
    virtual std::shared_ptr<UIViewController> selectedViewController() const { return nullptr; }

    /// This screen as a page without parameters.
    ViewControllerInfo toWrapInfo();
};

/// The page that the user sees: its screen, held weakly, and the host's parameters.
struct ViewControllerInfo {
    /// The screen; gone once it is destroyed.
    std::weak_ptr<UIViewController> vc;
    /// The page's parameters, as the host gave them.
    StringDictionary params {};
};

inline ViewControllerInfo UIViewController::toWrapInfo()
{
    return { weak_from_this() };
}

/// A second base class for a screen that names another screen to report in its place, as a
/// container does for one of its children.
class TELVORA_EXPORT TrackerDataLifeCycleControllerDelegate {
public:
    virtual ~TrackerDataLifeCycleControllerDelegate() = default;

    /// The screen to report, possibly itself.
    virtual ViewControllerInfo trackerViewControllerInfo() const = 0;
};

/// A window, the root of a tree of screens. The search for the screen on top is defined in
/// Classes/Model/TrackerDataLifeCycleTrace.cpp.
class TELVORA_EXPORT UIWindow {
public:
    virtual ~UIWindow() = default;

    /// The screen at the root; null for a window without content.
    virtual std::shared_ptr<UIViewController> rootViewController() const = 0;

    /// The screen on top of this window: follows delegates, presented, visible and selected screens
    /// from the root, and stops at a screen whose scene name ends with an entry of the white list.
    /// Absent if there is no screen, or a screen throws. The result never has parameters, even if a
    /// delegate supplied some.
    ///
    /// Deliberate: if the screens form a cycle, the result is the first screen that the search
    /// reaches a second time.
    std::optional<ViewControllerInfo> topViewController_monitorTracker() const;

    /// The same for the application's key window; absent if there is none.
    static std::optional<ViewControllerInfo> trackerTopViewControllerInfo();
};

/// The application's windows.
///
/// Used by UIWindow::trackerTopViewControllerInfo().
///
/// Threads: the main thread.
/// Implementations: Host/HostScreenHierarchy (what the host supplies),
/// Simulated/ScriptedScreenHierarchy.
class TELVORA_EXPORT ScreenHierarchy {
public:
    virtual ~ScreenHierarchy() = default;

    /// The window that takes the user's input, or null.
    virtual std::shared_ptr<UIWindow> keyWindow() const = 0;
};

} // namespace telvora
