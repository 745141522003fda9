#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/ScreenHierarchy.h>

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace telvora {

/// An occasion in the life of a screen. The raw values are the names of the occasions. The library
/// uses the position (index 3: the screen has come to the top, index 5: it has left).
enum class LifeCycleTraceOccasion {
    /// Its view is made.
    loadView,
    /// Its view has been made.
    viewDidLoad,
    /// It is about to be seen.
    viewWillAppear,
    /// It is seen, and on top.
    viewDidAppear,
    /// It is about to be left.
    viewWillDisappear,
    /// It is no longer seen.
    viewDidDisappear,
    /// It is destroyed.
    deinit,
};

/// How far the screen is with the occasion. The library acts on `after` alone.
enum class LifeCycleTraceState {
    /// It is about to handle the occasion.
    before,
    /// It has handled the occasion.
    after,
    /// It has skipped the occasion.
    skipped,
};

/// The names of the occasions, by their position.
inline constexpr std::array<std::string_view, 7> lifeCycleTraceOccasionRawValues {
    "loadView",
    "viewDidLoad",
    "viewWillAppear",
    "viewDidAppear",
    "viewWillDisappear",
    "viewDidDisappear",
    "deinit",
};

/// The name of the occasion; empty for a value that is none.
constexpr std::string_view rawValue(LifeCycleTraceOccasion occasion)
{
    const auto index = static_cast<std::size_t>(occasion);
    return index < lifeCycleTraceOccasionRawValues.size() ? lifeCycleTraceOccasionRawValues[index]
                                                          : std::string_view();
}

/// The occasion with that name; absent if there is none.
constexpr std::optional<LifeCycleTraceOccasion> lifeCycleTraceOccasion(std::string_view rawValue)
{
    for (std::size_t index = 0; index < lifeCycleTraceOccasionRawValues.size(); ++index) {
        if (lifeCycleTraceOccasionRawValues[index] == rawValue)
            return static_cast<LifeCycleTraceOccasion>(index);
    }
    return std::nullopt;
}

/// A rule of the page-lifecycle framework: two numbers and the name of the mark at which a trace
/// ends. Only the framework interprets them.
struct LifeCycleResolveRule {
    /// Numbers of the framework.
    std::array<int, 2> values;
    /// The name of the mark.
    std::string end;
};

/// The rules of an adaptor; made from a single rule.
class LifeCycleResolveRules {
public:
    /// With that one rule.
    explicit LifeCycleResolveRules(LifeCycleResolveRule rule)
        : m_rule(std::move(rule))
    {
    }

    /// The rule.
    const LifeCycleResolveRule& rule() const { return m_rule; }

private:
    LifeCycleResolveRule m_rule;
};

/// An adaptor: the page-lifecycle framework makes one for each scene and calls it on the main
/// thread.
///
/// Implementation: Classes/Model/TrackerDataLifeCycleTrace.
class TELVORA_EXPORT LifeCycleTrace {
public:
    virtual ~LifeCycleTrace() = default;

    /// The name of the scene that it was made for.
    virtual const std::string& sceneName() const = 0;

    /// The screen of that scene, held weakly; null until it is set and after it was destroyed.
    virtual std::shared_ptr<UIViewController> scene() const = 0;
    /// Called by the framework after it has made the adaptor.
    virtual void setScene(std::weak_ptr<UIViewController> scene) = 0;

    /// The framework's rules for this adaptor; those of its maker until set.
    virtual const LifeCycleResolveRules& occasionRule() const = 0;
    /// Called by the framework to replace them.
    virtual void setOccasionRule(LifeCycleResolveRules rule) = 0;

    /// The occasion that the framework's selector `sel` means; absent for any other text.
    virtual std::optional<LifeCycleTraceOccasion> selectorResolve(std::string_view sel) const = 0;

    /// Called by the framework for each occasion in the life of the scene.
    virtual void activeActionHandler(LifeCycleTraceOccasion occasion, LifeCycleTraceState state)
        = 0;
};

/// The page-lifecycle framework, which knows when screens appear and disappear. It makes one
/// adaptor for each scene with the registered factory, sets its scene and calls it.
///
/// Used by TrackerDataLifeCycleTrace, which registers itself as the adaptor.
///
/// Threads: the main thread.
/// Implementations: Host/HostLifeCycleChecker (driven by the host or its toolkit's
/// integration), Simulated/ScriptedLifeCycleChecker.
class TELVORA_EXPORT LifeCycleChecker {
public:
    /// Makes the adaptor of the scene with that name.
    using AdaptorFactory
        = std::function<std::unique_ptr<LifeCycleTrace>(const std::string& sceneName)>;

    virtual ~LifeCycleChecker() = default;

    /// Sets the factory for adaptors that are made from now on.
    virtual void registerAdaptor(AdaptorFactory create) = 0;
};

} // namespace telvora
