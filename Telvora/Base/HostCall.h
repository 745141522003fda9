#pragma once

#include <Telvora/Base/ExitGate.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Work.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

namespace telvora {

/// How many exceptions the host's closures have thrown into the library so far, in the whole
/// process. The ledger of a channel counts those of the channel's own closures as well.
TELVORA_EXPORT std::int64_t hostExceptionCount() noexcept;

namespace detail {

/// Which closure of the host's is called.
struct HostClosure {
    /// "The URL hook".
    std::string_view name = "A closure";
    /// The channel that it is called for; empty for none.
    std::string_view index {};
};

/// Is told of each exception: the closure, and what it threw. Must not throw.
using HostExceptionObserver = void (*)(const HostClosure& closure, std::string_view thrown);
/// Null until set. There is one for the process.
TELVORA_EXPORT void setHostExceptionObserver(HostExceptionObserver observer) noexcept;

/// Counts an exception, and tells the observer.
TELVORA_EXPORT void noteHostException(const HostClosure& closure, std::string_view thrown) noexcept;
/// Counts an exception of the observer's own closure.
TELVORA_EXPORT void noteHostException() noexcept;

/// How a call of a host's closure ended.
enum class HostCall {
    returned,
    threw,
    /// The process is ending, so objects that the closure refers to may be destroyed already; or
    /// this is a forked child.
    notCalled,
};

/// Calls a closure of the host and catches what it throws: on one of our threads an exception
/// would end the process, and on one of the host's it would leave a call that promises not to
/// throw. exit() waits until the closure has returned before it destroys anything.
TELVORA_EXPORT HostCall callHost(
    FunctionRef<void()> call, const HostClosure& closure = {}) noexcept;

/// Call it for each closure or object of the host that the library will call later. exit() then
/// stops such calls before it destroys anything that is alive now.
inline void noteHostClosure() noexcept
{
    ExitGate::watch();
}

/// Wraps a closure of the host for keeping, and calls noteHostClosure() for it. It is shared, so
/// that a caller holds a reference instead of a lock; a closure that is replaced is destroyed after
/// its last call.
template<typename Signature>
std::shared_ptr<const std::function<Signature>> keepHostClosure(std::function<Signature> closure)
{
    auto shared = std::make_shared<const std::function<Signature>>(std::move(closure));
    noteHostClosure();
    return shared;
}

} // namespace detail

} // namespace telvora
