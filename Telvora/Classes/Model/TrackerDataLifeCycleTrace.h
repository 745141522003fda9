#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/LifeCycleChecker.h>
#include <Telvora/Platform/ScreenHierarchy.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace telvora {

/// The page that `vc` itself is, without parameters.
TELVORA_EXPORT ViewControllerInfo toWrapInfo(const std::shared_ptr<UIViewController>& vc);

/// The screen on top of a window: follows delegates, presented, visible and selected screens from
/// the root, and stops early at one whose scene name ends as the white list says. Absent where the
/// way ends at nothing. The result has no parameters, whatever a delegate supplied.
///
/// Deliberate: where screens contain or present each other in a ring, the result is the first one
/// that the walk comes to a second time.
///
/// Threads: the main thread.
TELVORA_EXPORT std::optional<ViewControllerInfo> topViewController_monitorTracker(
    const UIWindow& window);

/// The same for the application's key window; absent without one.
TELVORA_EXPORT std::optional<ViewControllerInfo> trackerTopViewControllerInfo();

/// Follows one scene for the page-lifecycle framework: keeps the page on top and the flags of a
/// change of page up to date.
///
/// Life: made by the framework through create(), one for each scene; holds the scene weakly.
/// Threads: the framework calls on the main thread.
///
/// Deliberate: the flags of a change are tested and set under two separate locks, in two steps.
class TELVORA_EXPORT TrackerDataLifeCycleTrace final : public LifeCycleTrace {
public:
    static std::unique_ptr<TrackerDataLifeCycleTrace> create(const std::string& sceneName);

    const std::string& sceneName() const { return m_sceneName; }
    void setSceneName(std::string sceneName) { m_sceneName = std::move(sceneName); }

    std::shared_ptr<UIViewController> scene() const { return m_scene.lock(); }
    void setScene(std::weak_ptr<UIViewController> scene) override { m_scene = std::move(scene); }

    const LifeCycleResolveRules& occasionRule() const override { return m_occasionRule; }
    void setOccasionRule(LifeCycleResolveRules rule) { m_occasionRule = std::move(rule); }

    std::optional<LifeCycleTraceOccasion> selectorResolve(std::string_view sel) const override;

    void activeActionHandler(LifeCycleTraceOccasion occasion, LifeCycleTraceState state) override;

private:
    explicit TrackerDataLifeCycleTrace(std::string sceneName);

    void cameToTop();
    void left();
    void checkAndUpdateTransitioningState(bool start);

    std::string m_sceneName;
    std::weak_ptr<UIViewController> m_scene;
    LifeCycleResolveRules m_occasionRule;
};

/// Registers the adaptor with the page-lifecycle framework, once for the process.
///
/// Threads: any; the host calls setup() at start-up.
class TELVORA_EXPORT TrackerDataLifeCycleMonitor {
public:
    static TrackerDataLifeCycleMonitor& shared();

    /// Makes the shared one. Calling it again does nothing.
    static void setup();

    /// A switch for the host's own use.
    /// Deliberate: nothing here asks for it.
    static bool isEnabled();
    static void setIsEnabled(bool isEnabled);

private:
    TrackerDataLifeCycleMonitor();
};

} // namespace telvora
