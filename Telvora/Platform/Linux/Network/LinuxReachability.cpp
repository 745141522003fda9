#include <Telvora/Platform/Linux/Network/LinuxReachability.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/Linux/Network/LinuxNetworkWatcher.h>

#include <condition_variable>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace telvora::detail {

namespace {

using Connection = Reachability::Connection;

/// Tells one object's callbacks of the changes, on the main queue, in their order and never two at
/// once, even where the main queue is a pool of threads.
class Teller final : public LinuxNetworkWatcher::Listener,
                     public std::enable_shared_from_this<Teller> {
public:
    Teller(Dispatch& dispatch, std::shared_ptr<LinuxNetworkWatcher> watcher)
        : m_dispatch(dispatch)
        , m_watcher(std::move(watcher))
    {
    }

    Connection connection() const { return m_watcher->connection(); }

    void setWhenReachable(Reachability::Callback callback) TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        m_whenReachable.swap(callback);
    }

    void setWhenUnreachable(Reachability::Callback callback) TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        m_whenUnreachable.swap(callback);
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

    /// Forgets changes that were not told yet.
    void stop() TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        m_isOn = false;
        m_changes.clear();
    }

    /// Stops for good and waits for a callback that is running, unless it is that callback which
    /// comes here.
    void close() TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        m_isOn = false;
        m_changes.clear();
        while (m_caller != std::thread::id() && m_caller != std::this_thread::get_id())
            m_callerLeft.wait(m_lock);
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
                self->tell();
        });
    }

private:
    void tell() TELVORA_EXCLUDES(m_lock)
    {
        while (const auto callback = nextCallback()) {
            try {
                if (*callback)
                    (*callback)(m_watcher->connection());
            } catch (...) {
                // The exception is the host's and has nobody to go to; later changes are told all
                // the same.
            }
        }
    }

    /// The callback for the oldest change that was not told; absent when all were.
    std::optional<Reachability::Callback> nextCallback() TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        if (m_changes.empty()) {
            m_isSubmitted = false;
            m_caller = std::thread::id();
            m_callerLeft.notify_all();
            return std::nullopt;
        }
        const Connection change = m_changes.front();
        m_changes.erase(m_changes.begin());
        m_caller = std::this_thread::get_id();
        return change == Connection::none ? m_whenUnreachable : m_whenReachable;
    }

    Dispatch& m_dispatch;
    const std::shared_ptr<LinuxNetworkWatcher> m_watcher;

    Mutex m_lock;
    std::condition_variable_any m_callerLeft;
    Reachability::Callback m_whenReachable TELVORA_GUARDED_BY(m_lock);
    Reachability::Callback m_whenUnreachable TELVORA_GUARDED_BY(m_lock);
    bool m_isOn TELVORA_GUARDED_BY(m_lock) = false;
    bool m_isListening TELVORA_GUARDED_BY(m_lock) = false;
    /// A tell() waits on the main queue or is running.
    bool m_isSubmitted TELVORA_GUARDED_BY(m_lock) = false;
    /// What the connection changed to, oldest first.
    std::vector<Connection> m_changes TELVORA_GUARDED_BY(m_lock);
    /// The thread inside a callback.
    std::thread::id m_caller TELVORA_GUARDED_BY(m_lock);
};

class NetlinkReachability final : public Reachability {
public:
    explicit NetlinkReachability(std::shared_ptr<Teller> teller)
        : m_teller(std::move(teller))
    {
    }
    ~NetlinkReachability() override
    {
        if (!isForkedChild())
            m_teller->close();
    }

    Connection connection() const override { return m_teller->connection(); }

    bool startNotifier() override { return m_teller->start(); }
    void stopNotifier() override
    {
        if (!isForkedChild())
            m_teller->stop();
    }

    void setWhenReachable(Callback callback) override
    {
        if (!isForkedChild())
            m_teller->setWhenReachable(std::move(callback));
    }
    void setWhenUnreachable(Callback callback) override
    {
        if (!isForkedChild())
            m_teller->setWhenUnreachable(std::move(callback));
    }

private:
    const std::shared_ptr<Teller> m_teller;
};

} // namespace

LinuxReachability::LinuxReachability(Dispatch& dispatch, SystemFiles files)
    : m_dispatch(dispatch)
    , m_watcher(std::make_shared<LinuxNetworkWatcher>(std::move(files)))
{
}

LinuxReachability::~LinuxReachability() = default;

std::unique_ptr<Reachability> LinuxReachability::makeReachability(Use)
{
    if (!m_watcher->isAvailable())
        return nullptr;
    return std::make_unique<NetlinkReachability>(std::make_shared<Teller>(m_dispatch, m_watcher));
}

} // namespace telvora::detail
