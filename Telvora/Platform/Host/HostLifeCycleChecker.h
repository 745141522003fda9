#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/LifeCycleChecker.h>

#include <memory>
#include <string>

namespace telvora {

/// Keeps the registered factory for the host, or its toolkit's integration, which knows when
/// screens come and go: it makes an adaptor for each screen with create(), sets its scene and
/// calls it on the main thread.
class TELVORA_EXPORT HostLifeCycleChecker final : public LifeCycleChecker {
public:
    /// The newest registration counts for the adaptors made from then on.
    void registerAdaptor(AdaptorFactory create) override;

    /// The adaptor of the scene of that name; null while none is registered.
    std::unique_ptr<LifeCycleTrace> create(const std::string& sceneName) const;

private:
    detail::Guarded<std::shared_ptr<const AdaptorFactory>> m_factory;
};

} // namespace telvora
