#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/ScreenHierarchy.h>

#include <functional>
#include <memory>

namespace telvora {

/// The key window, as the host or the integration of its toolkit supplies it.
class TELVORA_EXPORT HostScreenHierarchy final : public ScreenHierarchy {
public:
    /// Returns the key window, or null.
    using KeyWindowSupplier = std::function<std::shared_ptr<UIWindow>()>;

    /// With an empty supplier there is no key window until one is set.
    explicit HostScreenHierarchy(KeyWindowSupplier supplier = {});

    /// For an integration that starts after the platform. Any thread. With an empty supplier there
    /// is no key window.
    void setKeyWindowSupplier(KeyWindowSupplier supplier);

    /// Calls the supplier on the caller's thread and returns its result; null without a supplier.
    std::shared_ptr<UIWindow> keyWindow() const override;

private:
    detail::Guarded<std::shared_ptr<const KeyWindowSupplier>> m_supplier;
};

} // namespace telvora
