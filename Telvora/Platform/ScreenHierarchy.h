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
/// Life: in a std::shared_ptr of its own. A class of screens does not derive from
/// std::enable_shared_from_this once more: with two of them neither works.
///
/// Threads: asked on the thread that calls the page lifecycle, the main thread. className() is
/// also asked on whatever thread reports, which keeps the screen for the length of that question:
/// a screen that goes away meanwhile is destroyed on that thread.
class TELVORA_EXPORT UIViewController : public std::enable_shared_from_this<UIViewController> {
public:
    enum class Kind {
        plain,
        navigation,
        tabBar,
    };

    virtual ~UIViewController() = default;

    /// The name of its class, as reports and log lines show it.
    virtual std::string className() const = 0;

    /// Its qualified class name, "Module.Class", as the white list looks at it.
    virtual std::string sceneName() const = 0;

    virtual Kind kind() const { return Kind::plain; }

    /// The screen it presents over itself, or null.
    virtual std::shared_ptr<UIViewController> presentedViewController() const { return nullptr; }
    /// Of a navigation controller: the screen at the top of its stack, or null.
    virtual std::shared_ptr<UIViewController> visibleViewController() const { return nullptr; }
    /// Of a tab-bar controller: the screen of the chosen tab, or null.
    virtual std::shared_ptr<UIViewController> selectedViewController() const { return nullptr; }

    /// The page that it is itself, without parameters.
    ViewControllerInfo toWrapInfo();
};

/// The page that the user sees: its screen, held weakly, and what the host says of it.
struct ViewControllerInfo {
    std::weak_ptr<UIViewController> vc;
    StringDictionary params {};
};

inline ViewControllerInfo UIViewController::toWrapInfo()
{
    return { weak_from_this() };
}

/// Adopted, beside UIViewController, by a screen that wants another screen reported in its place,
/// as a container does for one of its children.
class TELVORA_EXPORT TrackerDataLifeCycleControllerDelegate {
public:
    virtual ~TrackerDataLifeCycleControllerDelegate() = default;

    /// The screen that stands for it, possibly itself.
    virtual ViewControllerInfo trackerViewControllerInfo() const = 0;
};

/// A window, the root of a tree of screens.
class TELVORA_EXPORT UIWindow {
public:
    virtual ~UIWindow() = default;

    /// Null for a window without content.
    virtual std::shared_ptr<UIViewController> rootViewController() const = 0;

    /// The screen on top of this window: follows delegates, presented, visible and selected screens
    /// from the root, and stops early at one whose scene name ends as the white list says. Absent
    /// where the way ends at nothing, or a screen throws. The result has no parameters, whatever a
    /// delegate supplied.
    ///
    /// Deliberate: where screens contain or present each other in a ring, the result is the first
    /// one that the walk comes to a second time.
    std::optional<ViewControllerInfo> topViewController_monitorTracker() const;

    /// The same for the application's key window; absent without one.
    static std::optional<ViewControllerInfo> trackerTopViewControllerInfo();
};

/// The application's windows.
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
