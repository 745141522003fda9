#pragma once

#include <Telvora/Base/ExitGate.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/ForkedChild.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

namespace telvora {

namespace detail {
TELVORA_EXPORT void noteHostException() noexcept;
}

/// How many exceptions the host's closures have let escape into the library so far: one count for
/// the process. Those of a channel's own closures are on its ledger as well.
TELVORA_EXPORT std::int64_t hostExceptionCount() noexcept;

/// What became of a call of a closure of the host's.
enum class HostCall {
    returned,
    threw,
    /// The process is ending, and what the closure refers to may be gone; or this is a forked
    /// child.
    notCalled,
};

/// Calls a closure of the host's. An exception ends here: on a thread of ours it would end the
/// process, and on a thread of the host's it would leave a call that promises not to throw.
/// exit() waits for the closure's end before it destroys anything.
template<typename Callable> HostCall callHost(Callable&& call) noexcept
{
    if (detail::isForkedChild())
        return HostCall::notCalled;
    const detail::ExitGate::Pass pass;
    if (!pass)
        return HostCall::notCalled;
    try {
        std::forward<Callable>(call)();
        return HostCall::returned;
    } catch (...) {
        detail::noteHostException();
        return HostCall::threw;
    }
}

/// Comes with each closure or object that the host hands over to be called later: from here on
/// exit() calls it no more before it destroys anything that is alive now.
inline void noteHostClosure() noexcept
{
    detail::ExitGate::watch();
}

/// A closure of the host's as the library keeps it: shared, so that whoever calls it holds no lock
/// meanwhile, and one that is replaced ends with its last call.
template<typename Signature>
std::shared_ptr<const std::function<Signature>> keepHostClosure(std::function<Signature> closure)
{
    auto kept = std::make_shared<const std::function<Signature>>(std::move(closure));
    noteHostClosure();
    return kept;
}

} // namespace telvora
