#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/Reachability.h>
#include <Telvora/Platform/Simulated/Observer.h>

#include <functional>
#include <memory>

namespace telvora {

/// A ReachabilityService whose connection the test sets: Wi-Fi at the start. The held object and
/// objects for one reading can have different connections.
///
/// A change of the value calls, once and through the main queue, a callback of every such object
/// whose notifier runs. The connection at the time of the call decides which of the two callbacks.
/// The value "unavailable" is no change: no object can be made from then on, and existing objects
/// keep their connection.
///
/// Questions it reports: "reachabilityInit" (whether or not an object can be made),
/// "reachabilityConnection".
///
/// Threads: any.
class TELVORA_EXPORT ScriptedReachability final : public ReachabilityService {
public:
    /// A connection, or that none can be read.
    enum class Value {
        /// Not connected.
        none,
        /// Wi-Fi or a cable.
        wifi,
        /// A cellular network.
        cellular,
        /// No object can be made from now on.
        unavailable,
    };

    /// For which objects a value is set, by their Use.
    enum class Whose {
        /// Both uses.
        all,
        /// Those held for the life of the process.
        held,
        /// Those made for one reading.
        oneReading,
    };

    /// startNotifier() or stopNotifier().
    enum class NotifierAction {
        /// startNotifier().
        start,
        /// stopNotifier().
        stop,
    };

    /// `dispatch` must outlive this object. What it makes may live longer.
    explicit ScriptedReachability(Dispatch& dispatch);
    ~ScriptedReachability() override;

    std::unique_ptr<Reachability> makeReachability(Use use) override;

    /// Sets the value of these objects, also of those that exist already.
    void setConnection(Value value, Whose whose = Whose::all);
    /// With true, startNotifier() fails from now on.
    void setNotifierFails(bool fails);

    /// Called for each startNotifier() and stopNotifier(), whether it fails or not.
    void setNotifierObserver(std::function<void(NotifierAction)> observer);
    /// Called for each question, before its answer is read.
    void setQuestionObserver(QuestionObserver::Function observer);

private:
    class Object;
    struct State;

    const std::shared_ptr<State> m_state;
};

} // namespace telvora
