#include <Telvora/Platform/Linux/Network/LinuxReachability.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/Linux/Network/LinuxNetworkWatcher.h>

#include <chrono>
#include <condition_variable>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace telvora::detail {

namespace {

using Connection = Reachability::Connection;

// Calls the callbacks of one object for each change, on the main queue, in order and never two at
// the same time, even if the main queue is a pool of threads.
class Notifier final : public LinuxNetworkWatcher::Listener,
                       public std::enable_shared_from_this<Notifier> {
public:
    Notifier(Dispatch& dispatch, std::shared_ptr<LinuxNetworkWatcher> watcher)
        : m_dispatch(dispatch)
        , m_watcher(std::move(watcher))
    {
    }

    Connection connection() const { return m_watcher->connection(); }

    void setWhenReachable(Reachability::Callback callback)
    {
        m_whenReachable.set(keepHostClosure(std::move(callback)));
    }

    void setWhenUnreachable(Reachability::Callback callback)
    {
        m_whenUnreachable.set(keepHostClosure(std::move(callback)));
    }

    bool start() TELVORA_EXCLUDES(m_lock)
    {
        if (!m_watcher->start())
            return false;
        MutexLock lock(m_lock);
        m_isOn = true;
        if (!std::exchange(m_isListening, true))
            m_watcher->addListener(weak_from_this());
        return true;
    }

    // Drops changes that were not reported yet.
    void stop() TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        m_isOn = false;
        m_changes.clear();
    }

    // Stops for good and waits for a running callback, unless that callback calls this function.
    void close() TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        m_isOn = false;
        m_changes.clear();
        while (m_caller != std::thread::id() && m_caller != std::this_thread::get_id())
            m_callbackEnd.wait(m_lock);
    }

    void connectionDidChange(Connection now) override TELVORA_EXCLUDES(m_lock)
    {
        {
            MutexLock lock(m_lock);
            if (!m_isOn)
                return;
            m_changes.push_back(now);
            if (std::exchange(m_isSubmitted, true))
                return;
        }
        m_dispatch.mainAsync([weak = weak_from_this()] {
            if (const auto self = weak.lock())
                self->callBack();
        });
    }

private:
    // Null or empty: there is nothing to call.
    using SharedCallback = std::shared_ptr<const Reachability::Callback>;

    void callBack() TELVORA_EXCLUDES(m_lock)
    {
        while (const auto callback = nextCallback()) {
            if (*callback && **callback)
                callHost([&] { (**callback)(m_watcher->connection()); }, { "A network callback" });
            if (isForkedChild())
                return; // The callback forked, and this is the child.
        }
    }

    // The callback for the oldest change that was not reported; absent when there is none.
    std::optional<SharedCallback> nextCallback() TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        if (m_changes.empty()) {
            m_isSubmitted = false;
            m_caller = std::thread::id();
            m_callbackEnd.notify_all();
            return std::nullopt;
        }
        const Connection change = m_changes.front();
        m_changes.erase(m_changes.begin());
        m_caller = std::this_thread::get_id();
        return (change == Connection::none ? m_whenUnreachable : m_whenReachable).get();
    }

    Dispatch& m_dispatch;
    const std::shared_ptr<LinuxNetworkWatcher> m_watcher;

    Mutex m_lock;
    std::condition_variable_any m_callbackEnd;
    Guarded<SharedCallback> m_whenReachable;
    Guarded<SharedCallback> m_whenUnreachable;
    bool m_isOn TELVORA_GUARDED_BY(m_lock) = false;
    bool m_isListening TELVORA_GUARDED_BY(m_lock) = false;
    // callBack() waits on the main queue or is running.
    bool m_isSubmitted TELVORA_GUARDED_BY(m_lock) = false;
    // The new connection of each change, oldest first.
    std::vector<Connection> m_changes TELVORA_GUARDED_BY(m_lock);
    // The thread that runs a callback.
    std::thread::id m_caller TELVORA_GUARDED_BY(m_lock);
};

class NetlinkReachability final : public Reachability {
public:
    explicit NetlinkReachability(std::shared_ptr<Notifier> notifier)
        : m_notifier(std::move(notifier))
    {
    }
    ~NetlinkReachability() override
    {
        if (!isForkedChild())
            m_notifier->close();
    }

    Connection connection() const override { return m_notifier->connection(); }

    bool startNotifier() override { return m_notifier->start(); }
    void stopNotifier() override
    {
        if (!isForkedChild())
            m_notifier->stop();
    }

    void setWhenReachable(Callback callback) override
    {
        if (!isForkedChild())
            m_notifier->setWhenReachable(std::move(callback));
    }
    void setWhenUnreachable(Callback callback) override
    {
        if (!isForkedChild())
            m_notifier->setWhenUnreachable(std::move(callback));
    }

private:
    const std::shared_ptr<Notifier> m_notifier;
};

// When the first events of a process are on their way: before that the worker that runs the block
// would compete with the host's thread, or the pool would start a second worker for it.
constexpr auto soon = std::chrono::milliseconds(10);

LinuxNetworkWatcher::RunSoon runSoonOn(Dispatch& dispatch)
{
    return [&dispatch](Work block) { dispatch.globalAsyncAfter(soon, std::move(block)); };
}

} // namespace

LinuxReachability::LinuxReachability(Dispatch& dispatch, SystemFiles files)
    : m_dispatch(dispatch)
    , m_watcher(std::make_shared<LinuxNetworkWatcher>(std::move(files), runSoonOn(dispatch)))
{
}

LinuxReachability::~LinuxReachability() = default;

std::unique_ptr<Reachability> LinuxReachability::makeReachability(Use)
{
    if (!m_watcher->isAvailable())
        return nullptr;
    return std::make_unique<NetlinkReachability>(std::make_shared<Notifier>(m_dispatch, m_watcher));
}

} // namespace telvora::detail
