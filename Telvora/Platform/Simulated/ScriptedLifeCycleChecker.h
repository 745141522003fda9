#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/LifeCycleChecker.h>
#include <Telvora/Platform/Simulated/Observer.h>

#include <cstddef>
#include <memory>
#include <string>

namespace telvora {

/// A page-lifecycle framework that the test drives: the test calls create() for a scene, sets the
/// adaptor's scene and calls it.
///
/// Questions it reports: "registerAdaptor".
///
/// Threads: any.
class TELVORA_EXPORT ScriptedLifeCycleChecker final : public LifeCycleChecker {
public:
    /// Replaces the factory for the adaptors that are made from now on.
    void registerAdaptor(AdaptorFactory create) override;

    /// A new adaptor of the scene with that name; null while no factory is registered.
    std::unique_ptr<LifeCycleTrace> create(const std::string& sceneName) const;

    /// Plays one occasion of one scene: makes a new adaptor, sets its scene and calls it. False
    /// while no factory is registered.
    bool play(const std::string& sceneName, std::weak_ptr<UIViewController> scene,
        LifeCycleTraceOccasion occasion, LifeCycleTraceState state) const;

    /// How often a factory has been registered.
    std::size_t registrationCount() const;

    /// Called for each question.
    void setQuestionObserver(QuestionObserver::Function observer);

private:
    QuestionObserver m_questionObserver;
    struct Registration {
        std::shared_ptr<const AdaptorFactory> factory;
        std::size_t count = 0;
    };

    detail::Guarded<Registration> m_registration;
};

} // namespace telvora
