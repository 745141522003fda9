#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/LifeCycleChecker.h>
#include <Telvora/Platform/ScreenHierarchy.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace telvora {

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

    const std::string& sceneName() const override { return m_sceneName; }
    void setSceneName(std::string sceneName) { m_sceneName = std::move(sceneName); }

    std::shared_ptr<UIViewController> scene() const override { return m_scene.lock(); }
    void setScene(std::weak_ptr<UIViewController> scene) override { m_scene = std::move(scene); }

    const LifeCycleResolveRules& occasionRule() const override { return m_occasionRule; }
    void setOccasionRule(LifeCycleResolveRules rule) override { m_occasionRule = std::move(rule); }

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
    /// The class whose create() is registered: a type, not an object.
    using adaptor = TrackerDataLifeCycleTrace;

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
