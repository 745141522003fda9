#include <Telvora/Base/HostCall.h>

#include <atomic>

namespace telvora {

namespace {

std::atomic<std::int64_t> s_hostExceptions { 0 };

} // namespace

void detail::noteHostException() noexcept
{
    s_hostExceptions.fetch_add(1, std::memory_order_relaxed);
}

std::int64_t hostExceptionCount() noexcept
{
    return s_hostExceptions.load(std::memory_order_relaxed);
}

} // namespace telvora
