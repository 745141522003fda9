#include <Telvora/Platform/Linux/LinuxLifeCycleChecker.h>

#include <utility>

namespace telvora {

void LinuxLifeCycleChecker::registerAdaptor(AdaptorFactory create)
{
    MutexLock lock(m_lock);
    m_factory.swap(create);
}

std::unique_ptr<LifeCycleTrace> LinuxLifeCycleChecker::create(const std::string& sceneName) const
{
    AdaptorFactory factory;
    {
        MutexLock lock(m_lock);
        factory = m_factory;
    }
    return factory ? factory(sceneName) : nullptr;
}

} // namespace telvora
