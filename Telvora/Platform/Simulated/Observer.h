#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/Simulated/CallOut.h>

#include <functional>
#include <memory>
#include <utility>

namespace telvora {

/// A function that is called when the library calls a simulated service. One at a time; none at the
/// start.
///
/// Threads: any. The function is called on the asking thread, without a lock held, and may use the
/// service, replace itself or let the library call again.
template<typename... Arguments> class Observer {
public:
    /// What is called, with the arguments of the call.
    using Function = std::function<void(Arguments...)>;

    /// Sets the function; an empty one ends the observation.
    void set(Function function)
    {
        auto shared = function ? std::make_shared<const Function>(std::move(function)) : nullptr;
        m_function.set(std::move(shared));
    }

    /// Calls the function, if there is one.
    void operator()(Arguments... arguments) const
    {
        if (const auto function = m_function.get()) {
            const detail::CallOut callOut;
            (*function)(arguments...);
        }
    }

private:
    detail::Guarded<std::shared_ptr<const Function>> m_function;
};

/// The name of one question to the platform, as the question is put: "ppi", "carriers",
/// "infoDictionary:CFBundleShortVersionString".
using QuestionObserver = Observer<const std::string&>;

} // namespace telvora
