#pragma once

#include <Telvora/Platform/LifeCycleChecker.h>

#include <string>
#include <utility>

namespace telvora {

/// An adaptor that keeps what it is given, and does nothing.
class PlainTrace : public LifeCycleTrace {
public:
    explicit PlainTrace(std::string sceneName = {})
        : m_sceneName(std::move(sceneName))
    {
    }

    const std::string& sceneName() const override { return m_sceneName; }

    std::shared_ptr<UIViewController> scene() const override { return m_scene.lock(); }
    void setScene(std::weak_ptr<UIViewController> scene) override { m_scene = std::move(scene); }

    const LifeCycleResolveRules& occasionRule() const override { return m_rules; }
    void setOccasionRule(LifeCycleResolveRules rule) override { m_rules = std::move(rule); }

    std::optional<LifeCycleTraceOccasion> selectorResolve(std::string_view sel) const override
    {
        return lifeCycleTraceOccasion(sel);
    }
    void activeActionHandler(LifeCycleTraceOccasion, LifeCycleTraceState) override { }

private:
    const std::string m_sceneName;
    std::weak_ptr<UIViewController> m_scene;
    LifeCycleResolveRules m_rules { { { 0, 2 }, "end" } };
};

} // namespace telvora
