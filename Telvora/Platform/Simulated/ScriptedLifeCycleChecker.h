#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/LifeCycleChecker.h>
#include <Telvora/Platform/Simulated/Observer.h>

#include <cstddef>
#include <memory>
#include <string>

namespace telvora {

/// The page-lifecycle framework, played by the test: it calls create() for a scene, sets the
/// adaptor's scene and calls it.
///
/// Questions it reports: "registerAdaptor".
///
/// Threads: any.
class TELVORA_EXPORT ScriptedLifeCycleChecker final : public LifeCycleChecker {
public:
    /// The newest registration counts for the adaptors made from then on.
    void registerAdaptor(AdaptorFactory create) override;

    /// The adaptor of the scene of that name; null while none is registered.
    std::unique_ptr<LifeCycleTrace> create(const std::string& sceneName) const;

    /// Plays one moment of one scene from beginning to end: a fresh adaptor is made, given its
    /// scene and called. False while none is registered.
    bool play(const std::string& sceneName, std::weak_ptr<UIViewController> scene,
        LifeCycleTraceOccasion occasion, LifeCycleTraceState state) const;

    std::size_t registrationCount() const;

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
