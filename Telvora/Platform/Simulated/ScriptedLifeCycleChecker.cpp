#include <Telvora/Platform/Simulated/ScriptedLifeCycleChecker.h>

#include <utility>

namespace telvora {

void ScriptedLifeCycleChecker::registerAdaptor(AdaptorFactory create)
{
    m_questionObserver("registerAdaptor");
    MutexLock lock(m_lock);
    m_factory.swap(create);
    ++m_registrationCount;
}

std::unique_ptr<LifeCycleTrace> ScriptedLifeCycleChecker::create(const std::string& sceneName) const
{
    AdaptorFactory factory;
    {
        MutexLock lock(m_lock);
        factory = m_factory;
    }
    return factory ? factory(sceneName) : nullptr;
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
    MutexLock lock(m_lock);
    return m_registrationCount;
}

void ScriptedLifeCycleChecker::setQuestionObserver(QuestionObserver::Function observer)
{
    m_questionObserver.set(std::move(observer));
}

} // namespace telvora
