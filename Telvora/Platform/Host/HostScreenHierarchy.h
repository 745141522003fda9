#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/ScreenHierarchy.h>

#include <functional>
#include <memory>

namespace telvora {

/// The windows that the host, or its toolkit's integration, tells of.
class TELVORA_EXPORT HostScreenHierarchy final : public ScreenHierarchy {
public:
    using KeyWindowSupplier = std::function<std::shared_ptr<UIWindow>()>;

    explicit HostScreenHierarchy(KeyWindowSupplier supplier = {});

    /// For an integration that comes up after the platform. Any thread; an empty one means that
    /// there is no key window.
    void setKeyWindowSupplier(KeyWindowSupplier supplier);

    /// What the supplier says, called on the caller's thread; null without one.
    std::shared_ptr<UIWindow> keyWindow() const override;

private:
    detail::Guarded<std::shared_ptr<const KeyWindowSupplier>> m_supplier;
};

} // namespace telvora
