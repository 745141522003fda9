#include <Telvora/Platform/Linux/LinuxScreenHierarchy.h>

#include <Telvora/Base/HostCall.h>

#include <utility>

namespace telvora {

LinuxScreenHierarchy::LinuxScreenHierarchy(KeyWindowSupplier supplier)
{
    setKeyWindowSupplier(std::move(supplier));
}

void LinuxScreenHierarchy::setKeyWindowSupplier(KeyWindowSupplier supplier)
{
    m_supplier.set(keepHostClosure(std::move(supplier)));
}

std::shared_ptr<UIWindow> LinuxScreenHierarchy::keyWindow() const
{
    const auto supplier = m_supplier.get();
    return supplier && *supplier ? (*supplier)() : nullptr;
}

} // namespace telvora
