#include <Telvora/Platform/Simulated/ScriptedLifeCycleChecker.h>

#include <utility>

namespace telvora {

void ScriptedLifeCycleChecker::registerAdaptor(AdaptorFactory create)
{
    m_questionObserver("registerAdaptor");
    auto factory = std::make_shared<const AdaptorFactory>(std::move(create));
    m_registration.with([&](Registration& registration) {
        registration.factory.swap(factory);
        ++registration.count;
    });
}

std::unique_ptr<LifeCycleTrace> ScriptedLifeCycleChecker::create(const std::string& sceneName) const
{
    const auto factory = m_registration.get().factory;
    return factory && *factory ? (*factory)(sceneName) : nullptr;
}

bool ScriptedLifeCycleChecker::play(const std::string& sceneName,
    std::weak_ptr<UIViewController> scene, LifeCycleTraceOccasion occasion,
    LifeCycleTraceState state) const
{
    const auto adaptor = create(sceneName);
    if (!adaptor)
        return false;
    adaptor->setScene(std::move(scene));
    adaptor->activeActionHandler(occasion, state);
    return true;
}

std::size_t ScriptedLifeCycleChecker::registrationCount() const
{
    return m_registration.get().count;
}

void ScriptedLifeCycleChecker::setQuestionObserver(QuestionObserver::Function observer)
{
    m_questionObserver.set(std::move(observer));
}

} // namespace telvora
