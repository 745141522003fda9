#include <Telvora/Platform/Simulated/ScriptedReachability.h>

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

namespace telvora {

namespace {

using Connection = Reachability::Connection;
using Use = ReachabilityService::Use;

// The state of one object. Outlives the object while a callback is queued.
struct Watch {
    Use use = Use::held;
    bool isNotifierRunning = false;
    bool isGone = false;
    std::shared_ptr<const Reachability::Callback> whenReachable {};
    std::shared_ptr<const Reachability::Callback> whenUnreachable {};
};

} // namespace

// Shared with the objects, which the library may keep for longer than the service.
struct ScriptedReachability::State {
    explicit State(Dispatch& mainDispatch)
        : dispatch(mainDispatch)
    {
    }

    Connection connection(Use use) const
    {
        detail::MutexLock guard(lock);
        return connections[static_cast<std::size_t>(use)];
    }

    void call(const Watch& watch) const
    {
        Connection now {};
        std::shared_ptr<const Reachability::Callback> callback;
        {
            detail::MutexLock guard(lock);
            if (watch.isGone || !watch.isNotifierRunning)
                return;
            now = connections[static_cast<std::size_t>(watch.use)];
            callback = now == Connection::none ? watch.whenUnreachable : watch.whenReachable;
        }
        if (callback && *callback)
            (*callback)(now);
    }

    Dispatch& dispatch;
    Observer<NotifierAction> notifierObserver;
    QuestionObserver questionObserver;

    mutable detail::Mutex lock;
    // By use.
    std::array<Connection, 2> connections TELVORA_GUARDED_BY(lock)
        = { Connection::wifi, Connection::wifi };
    std::array<bool, 2> isAvailable TELVORA_GUARDED_BY(lock) = { true, true };
    bool notifierFails TELVORA_GUARDED_BY(lock) = false;
    // Of the objects there are, oldest first; what they hold is guarded too.
    std::vector<std::shared_ptr<Watch>> watches TELVORA_GUARDED_BY(lock);
};

class ScriptedReachability::Object final : public Reachability {
public:
    Object(std::shared_ptr<State> state, Use use)
        : m_state(std::move(state))
        , m_watch(std::make_shared<Watch>(Watch { .use = use }))
    {
        detail::MutexLock guard(m_state->lock);
        m_state->watches.push_back(m_watch);
    }

    ~Object() override
    {
        detail::MutexLock guard(m_state->lock);
        m_watch->isGone = true;
        std::erase(m_state->watches, m_watch);
    }

    Connection connection() const override
    {
        m_state->questionObserver("reachabilityConnection");
        return m_state->connection(m_watch->use);
    }

    bool startNotifier() override
    {
        m_state->notifierObserver(NotifierAction::start);
        detail::MutexLock guard(m_state->lock);
        if (m_state->notifierFails)
            return false;
        m_watch->isNotifierRunning = true;
        return true;
    }

    void stopNotifier() override
    {
        m_state->notifierObserver(NotifierAction::stop);
        detail::MutexLock guard(m_state->lock);
        m_watch->isNotifierRunning = false;
    }

    void setWhenReachable(Callback callback) override
    {
        replace(m_watch->whenReachable, std::move(callback));
    }

    void setWhenUnreachable(Callback callback) override
    {
        replace(m_watch->whenUnreachable, std::move(callback));
    }

private:
    void replace(std::shared_ptr<const Callback>& place, Callback callback)
    {
        auto shared = std::make_shared<const Callback>(std::move(callback));
        detail::MutexLock guard(m_state->lock);
        place.swap(shared);
    }

    const std::shared_ptr<State> m_state;
    const std::shared_ptr<Watch> m_watch;
};

ScriptedReachability::ScriptedReachability(Dispatch& dispatch)
    : m_state(std::make_shared<State>(dispatch))
{
}

ScriptedReachability::~ScriptedReachability() = default;

std::unique_ptr<Reachability> ScriptedReachability::makeReachability(Use use)
{
    m_state->questionObserver("reachabilityInit");
    {
        detail::MutexLock guard(m_state->lock);
        if (!m_state->isAvailable[static_cast<std::size_t>(use)])
            return nullptr;
    }
    return std::make_unique<Object>(m_state, use);
}

void ScriptedReachability::setConnection(Value value, Whose whose)
{
    std::vector<std::shared_ptr<Watch>> concerned;
    {
        detail::MutexLock guard(m_state->lock);
        for (const Use use : { Use::held, Use::oneReading }) {
            const bool isMeant
                = whose == Whose::all || (whose == Whose::held) == (use == Use::held);
            if (!isMeant)
                continue;
            const auto index = static_cast<std::size_t>(use);
            m_state->isAvailable[index] = value != Value::unavailable;
            if (value == Value::unavailable)
                continue;
            const auto connection = value == Value::none ? Connection::none
                : value == Value::wifi                   ? Connection::wifi
                                                         : Connection::cellular;
            if (std::exchange(m_state->connections[index], connection) == connection)
                continue;
            for (const auto& watch : m_state->watches) {
                if (watch->use == use && watch->isNotifierRunning)
                    concerned.push_back(watch);
            }
        }
    }
    for (auto& watch : concerned) {
        m_state->dispatch.mainAsync(
            [state = m_state, watch = std::move(watch)] { state->call(*watch); });
    }
}

void ScriptedReachability::setNotifierFails(bool fails)
{
    detail::MutexLock guard(m_state->lock);
    m_state->notifierFails = fails;
}

void ScriptedReachability::setNotifierObserver(std::function<void(NotifierAction)> observer)
{
    m_state->notifierObserver.set(std::move(observer));
}

void ScriptedReachability::setQuestionObserver(QuestionObserver::Function observer)
{
    m_state->questionObserver.set(std::move(observer));
}

} // namespace telvora
