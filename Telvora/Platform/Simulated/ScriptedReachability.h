#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/Reachability.h>
#include <Telvora/Platform/Simulated/Observer.h>

#include <functional>
#include <memory>

namespace telvora {

/// A ReachabilityService whose connection is what the test says: Wi-Fi at the start. The object
/// that is held and those made for one reading can be told different things.
///
/// A change of value calls, through the main queue and once, the callback of every object
/// concerned whose notifier runs; which of the two callbacks goes by the connection when it is
/// called. Being unavailable is no change: no object can be made from then on, and those that
/// there are keep their connection.
///
/// Questions it reports: "reachabilityInit" (whether or not an object can be made),
/// "reachabilityConnection".
///
/// Threads: any.
class TELVORA_EXPORT ScriptedReachability final : public ReachabilityService {
public:
    enum class Value {
        none,
        wifi,
        cellular,
        unavailable,
    };

    enum class Whose {
        all,
        held,
        fresh,
    };

    enum class NotifierAction {
        start,
        stop,
    };

    /// `dispatch` must outlive this object and what it makes.
    explicit ScriptedReachability(Dispatch& dispatch);
    ~ScriptedReachability() override;

    std::unique_ptr<Reachability> makeReachability(Use use) override;

    void setConnection(Value value, Whose whose = Whose::all);
    /// Whether startNotifier() fails from now on.
    void setNotifierFails(bool fails);

    /// Told of each call of startNotifier() and stopNotifier(), failing or not.
    void setNotifierObserver(std::function<void(NotifierAction)> observer);
    void setQuestionObserver(QuestionObserver::Function observer);

private:
    class Object;
    struct State;

    const std::shared_ptr<State> m_state;
};

} // namespace telvora
