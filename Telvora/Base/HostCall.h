#pragma once

#include <Telvora/Base/Export.h>

#include <cstdint>
#include <utility>

namespace telvora {

namespace detail {
TELVORA_EXPORT void noteHostException() noexcept;
}

/// How many exceptions the host's closures have let escape into the library so far: one count for
/// the process. Those of a channel's own closures are on its ledger as well.
TELVORA_EXPORT std::int64_t hostExceptionCount() noexcept;

/// Calls a closure of the host and keeps whatever it throws away from everybody else: on a thread
/// of ours an exception would end the process, and on the host's own it would come out of a call
/// that promises not to throw. False when it threw.
template<typename Callable> bool callHost(Callable&& call) noexcept
{
    try {
        std::forward<Callable>(call)();
        return true;
    } catch (...) {
        detail::noteHostException();
        return false;
    }
}

} // namespace telvora
