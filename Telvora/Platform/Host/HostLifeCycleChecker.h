#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/LifeCycleChecker.h>

#include <memory>
#include <string>

namespace telvora {

/// Stores the registered factory for the host or the integration of its toolkit, which knows when
/// screens appear and disappear. The integration makes an adaptor for each screen with create(),
/// sets its scene and calls it on the main thread.
class TELVORA_EXPORT HostLifeCycleChecker final : public LifeCycleChecker {
public:
    /// Replaces the factory for the adaptors that are made from now on.
    void registerAdaptor(AdaptorFactory create) override;

    /// A new adaptor of the scene with that name; null while no factory is registered.
    std::unique_ptr<LifeCycleTrace> create(const std::string& sceneName) const;

private:
    detail::Guarded<std::shared_ptr<const AdaptorFactory>> m_factory;
};

} // namespace telvora
