#include <Telvora/Platform/Linux/LinuxScreenHierarchy.h>

#include <utility>

namespace telvora {

LinuxScreenHierarchy::LinuxScreenHierarchy(KeyWindowSupplier supplier)
    : m_supplier(std::move(supplier))
{
}

void LinuxScreenHierarchy::setKeyWindowSupplier(KeyWindowSupplier supplier)
{
    MutexLock lock(m_lock);
    m_supplier.swap(supplier);
}

std::shared_ptr<UIWindow> LinuxScreenHierarchy::keyWindow() const
{
    KeyWindowSupplier supplier;
    {
        MutexLock lock(m_lock);
        supplier = m_supplier;
    }
    return supplier ? supplier() : nullptr;
}

} // namespace telvora
