#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/LifeCycleChecker.h>
#include <Telvora/Platform/ScreenHierarchy.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace telvora {

/// The page-lifecycle framework's adaptor for one scene (screen): updates the page on top and the
/// flags of a change of page, which TrackerDataExcavator keeps.
///
/// Life: made by the framework through create(), one for each scene; does not keep the scene alive.
/// Threads: the framework calls on the main thread.
///
/// Deliberate: each flag of a change has its own lock, and testing and setting are two steps.
class TELVORA_EXPORT TrackerDataLifeCycleTrace final : public LifeCycleTrace {
public:
    /// `sceneName` is the qualified class name of the screen.
    static std::unique_ptr<TrackerDataLifeCycleTrace> create(const std::string& sceneName);

    const std::string& sceneName() const override { return m_sceneName; }
    /// Replaces the name; the screen stays.
    void setSceneName(std::string sceneName) { m_sceneName = std::move(sceneName); }

    std::shared_ptr<UIViewController> scene() const override { return m_scene.lock(); }
    void setScene(std::weak_ptr<UIViewController> scene) override { m_scene = std::move(scene); }

    const LifeCycleResolveRules& occasionRule() const override { return m_occasionRule; }
    void setOccasionRule(LifeCycleResolveRules rule) override { m_occasionRule = std::move(rule); }

    std::optional<LifeCycleTraceOccasion> selectorResolve(std::string_view sel) const override;

    /// Handles two occasions, the screen came to the top and the screen disappeared, each in one
    /// state. Ignores the others.
    void activeActionHandler(LifeCycleTraceOccasion occasion, LifeCycleTraceState state) override;

private:
    explicit TrackerDataLifeCycleTrace(std::string sceneName);

    void cameToTop();
    void disappeared();
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
    /// The class whose create() is registered.
    using adaptor = TrackerDataLifeCycleTrace;

    /// The one instance. Making it registers the adaptor.
    static TrackerDataLifeCycleMonitor& shared();

    /// Makes the shared instance. Calling it again does nothing.
    static void setup();

    /// A switch for the host; false until set.
    /// Deliberate: the library does not read it.
    static bool isEnabled();
    /// Sets the switch.
    static void setIsEnabled(bool isEnabled);

private:
    TrackerDataLifeCycleMonitor();
};

} // namespace telvora
