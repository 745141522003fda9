#include <Telvora/Platform/Host/HostLifeCycleChecker.h>

#include <utility>

namespace telvora {

void HostLifeCycleChecker::registerAdaptor(AdaptorFactory create)
{
    m_factory.set(std::make_shared<const AdaptorFactory>(std::move(create)));
}

std::unique_ptr<LifeCycleTrace> HostLifeCycleChecker::create(const std::string& sceneName) const
{
    const auto factory = m_factory.get();
    return factory && *factory ? (*factory)(sceneName) : nullptr;
}

} // namespace telvora
