#include <Telvora/Platform/Host/HostScreenHierarchy.h>

#include <Telvora/Base/HostCall.h>

#include <utility>

namespace telvora {

HostScreenHierarchy::HostScreenHierarchy(KeyWindowSupplier supplier)
{
    setKeyWindowSupplier(std::move(supplier));
}

void HostScreenHierarchy::setKeyWindowSupplier(KeyWindowSupplier supplier)
{
    m_supplier.set(detail::keepHostClosure(std::move(supplier)));
}

std::shared_ptr<UIWindow> HostScreenHierarchy::keyWindow() const
{
    const auto supplier = m_supplier.get();
    return supplier && *supplier ? (*supplier)() : nullptr;
}

} // namespace telvora
