#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/ScreenHierarchy.h>

#include <functional>

namespace telvora {

/// The windows that the host, or its toolkit's integration, tells of.
class TELVORA_EXPORT LinuxScreenHierarchy final : public ScreenHierarchy {
public:
    using KeyWindowSupplier = std::function<std::shared_ptr<UIWindow>()>;

    explicit LinuxScreenHierarchy(KeyWindowSupplier supplier = {});

    /// For an integration that comes up after the platform. Any thread; an empty one means that
    /// there is no key window.
    void setKeyWindowSupplier(KeyWindowSupplier supplier) TELVORA_EXCLUDES(m_lock);

    /// What the supplier says, called on the caller's thread; null without one.
    std::shared_ptr<UIWindow> keyWindow() const override TELVORA_EXCLUDES(m_lock);

private:
    mutable Mutex m_lock;
    KeyWindowSupplier m_supplier TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora
