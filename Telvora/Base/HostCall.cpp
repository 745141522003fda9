#include <Telvora/Base/HostCall.h>

#include <Telvora/Base/ProcessValue.h>

#include <atomic>
#include <exception>

namespace telvora {

namespace {

constinit detail::ProcessValue<std::int64_t> s_hostExceptions { 0 };
constinit detail::ProcessValue<detail::HostExceptionObserver> s_observer { nullptr };

} // namespace

void detail::noteHostException() noexcept
{
    s_hostExceptions.change().fetch_add(1, std::memory_order_relaxed);
}

void detail::noteHostException(const HostClosure& closure, std::string_view thrown) noexcept
{
    noteHostException();
    if (const auto observer = s_observer->load(std::memory_order_acquire))
        observer(closure, thrown);
}

void detail::setHostExceptionObserver(HostExceptionObserver observer) noexcept
{
    s_observer.change().store(observer, std::memory_order_release);
}

detail::HostCall detail::callHost(FunctionRef<void()> call, const HostClosure& closure) noexcept
{
    if (isForkedChild())
        return HostCall::notCalled;
    const ExitGate::Pass pass;
    if (!pass)
        return HostCall::notCalled;
    try {
        call();
        return HostCall::returned;
    } catch (const std::exception& exception) {
        noteHostException(closure, exception.what());
    } catch (...) {
        noteHostException(closure, "no std::exception");
    }
    return HostCall::threw;
}

std::int64_t hostExceptionCount() noexcept
{
    return s_hostExceptions->load(std::memory_order_relaxed);
}

} // namespace telvora
