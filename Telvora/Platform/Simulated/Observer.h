#pragma once

#include <Telvora/Base/Mutex.h>

#include <functional>
#include <memory>
#include <utility>

namespace telvora {

/// Who is told, at the moment it happens, what the library asks of a twin. One at a time; none at
/// the start.
///
/// Threads: any. The function is called on the asking thread, without a lock held, and may use the
/// twin, replace itself or let the library call again.
template<typename... Arguments> class Observer {
public:
    using Function = std::function<void(Arguments...)>;

    /// An empty function ends the observation.
    void set(Function function)
    {
        auto shared = function ? std::make_shared<const Function>(std::move(function)) : nullptr;
        MutexLock lock(m_lock);
        m_function.swap(shared);
    }

    void operator()(Arguments... arguments) const
    {
        if (auto function = current())
            (*function)(arguments...);
    }

private:
    std::shared_ptr<const Function> current() const
    {
        MutexLock lock(m_lock);
        return m_function;
    }

    mutable Mutex m_lock;
    std::shared_ptr<const Function> m_function TELVORA_GUARDED_BY(m_lock);
};

/// The name of one question to the platform, as the question is put: "ppi", "carriers",
/// "infoDictionary:CFBundleShortVersionString".
using QuestionObserver = Observer<const std::string&>;

} // namespace telvora
