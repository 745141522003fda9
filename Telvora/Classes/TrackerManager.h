// Longer than other headers: the whole facade is here, in the order of the sources. Beside it a
// host calls TrackerDataExcavator, TrackerDataLifeCycleMonitor and QuorvexLog.
#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/EventBuilder.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/Work.h>
#include <Telvora/Classes/Diagnostic.h>
#include <Telvora/Classes/FlushResult.h>
#include <Telvora/Classes/Limits.h>
#include <Telvora/Classes/Model/Measurements.h>
#include <Telvora/Classes/Model/ReportCompletion.h>
#include <Telvora/Classes/Model/TrackNetworkStatus.h>
#include <Telvora/Classes/Model/TrackerMeta.h>
#include <Telvora/Classes/OstraProviderProtocol.h>
#include <Telvora/Classes/TrackerConfig.h>
#include <Telvora/Classes/TrackerConfiguration.h>
#include <Telvora/Classes/TrackerLedger.h>
#include <Telvora/Classes/Utils/ReadWriteLockWrapper.h>
#include <Telvora/Classes/Utils/TrackerTimer.h>
#include <Telvora/Platform/DispatchQueue.h>

#include <atomic>
#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace telvora {

namespace detail {
class Bounds;
class Delivery;
class Encoder;
class FinishedEvents;
struct AppendedEvent;
template<typename T> class Lazy;
} // namespace detail

/// An EventBuilder that is handed over with std::move(). A template takes it, so that `{}` still
/// means a Dictionary.
template<typename Event>
concept BuiltEvent = std::same_as<Event, EventBuilder>;

/// The library's facade: register a TrackerConfig for each channel, start once, and hand over
/// events.
///
/// Life: one instance, made on first use and never destroyed. Once exit() has called the library's
/// exit handler, calls do no harm and call no closure of the host.
///
/// Tests: after SimulatedPlatform::takeDown() shared() makes another one. References to the old one
/// stay valid; it has released the closures and channels of the host, and every call on it returns
/// at once, does nothing and returns a neutral answer.
///
/// Fork: a process may register, set up and then fork, as a daemon does; in the child everything
/// works. In a child that is forked after start() was called, an event was handed over or a request
/// was sent, every call returns at once, does nothing and returns a neutral answer.
///
/// Threads: any. No operation on an event waits for the network or for another event; intake runs
/// later, in order, on the manager's own queue.
///
/// Failure: no operation returns an error. Handing over an event or a report, and
/// timerEventHandler(), throw nothing; an event for which there is no memory is dropped as
/// `internalError`. The others (the first shared(), set-up, start and stop, readings) let
/// std::bad_alloc through. Unknown channels and empty closures are skipped. What the host's
/// closures throw is caught and counted (hostExceptionCount(), and the channel's ledger). The
/// ledger says what became of every event. Registering one index twice stops the process.
///
/// Dictionaries: moved or copied without recursion, however deep they are.
///
/// Events: a Dictionary that is moved in, one that is copied, or an EventBuilder, which is empty
/// afterwards, whatever becomes of the event. The builder costs both threads the least.
class TELVORA_EXPORT TrackerManager {
public:
    /// The one instance, made by the first call.
    static TrackerManager& shared();

    // ---- TrackerManager.cpp: set-up, start and stop ----

    /// Calls the host's identifier closure and returns its result; absent without a closure.
    static std::optional<std::string> uuid();
    /// Installs the closure that returns the identifier of the device or installation. It is called
    /// for every request ("QVX-UUID") and for each set-up of common data ("buid"), on the thread
    /// that needs it, possibly inside the manager's barrier: other events wait for it, and it must
    /// not call timerEventHandler(). Where it returns absent, the header or the key is left out.
    void setQvxUuid(std::function<std::optional<std::string>()> fetch);

    /// A random UUID, the same for the life of the process, for the host's own use: it is never
    /// sent. "session" in the common data is another UUID, a new one with each set-up.
    const std::string& sessionId() const { return m_sessionId; }

    /// Sets the build mode of the host, which APM reports name as "ipaMode"; `release` until set.
    /// In `debug` each change of the network is also printed to standard error.
    void setMode(TrackerMode mode);

    /// Replaces the headers for every request of every channel. A header of the channel or a fixed
    /// header of the same name is sent instead.
    static void configHeaders(StringDictionary headers);

    /// Installs the reporting provider, the host's in-house service Ostra; null removes it.
    void setupOstra(std::shared_ptr<QVXOstraProviderProtocol> provider);

    /// Adds a channel; null is ignored. A second channel of the same index stops the process with
    /// "TrackerManager: There are 2 same configs - index `INDEX`".
    void register_(std::shared_ptr<TrackerConfig> config);

    /// Replaces the common data of the channel `for_` and the key of its event list; nothing
    /// happens where no such channel is registered.
    void setupCommonDatas(Dictionary&& commonDatas, std::string dataListKey, std::string_view for_);
    /// The same, with a copy.
    void setupCommonDatas(
        const Dictionary& commonDatas, std::string dataListKey, std::string_view for_);

    /// Observes the application's notifications of background and foreground, starts the flush
    /// timer and the network notifier, and calls the start hook of each channel that is not
    /// running.
    ///
    /// Deliberate: a channel without a start hook is not marked as running. A second start observes
    /// the notifications a second time.
    static void start();

    /// Stops observing the notifications and calls the stop hook of each channel.
    ///
    /// Deliberate: the timer keeps running, and nothing is flushed.
    static void stop();

    // ---- TrackerManager+Intake.cpp: intake of events ----

    /// Hands an event to the channel `for_`: moves it into a block of the queue, which appends it.
    /// A Dictionary in memory of the host's own uses that memory until its block has ended, for
    /// which timerEventHandler() waits.
    void appendTracker(Dictionary&& event, std::string for_);
    /// The same, with an event that is built.
    template<BuiltEvent Event> void appendTracker(Event&& event, std::string for_)
    {
        appendBuilt(static_cast<EventBuilder&>(event), std::move(for_), Network::notStamped);
    }
    /// The same, with a copy.
    void appendTracker(const Dictionary& event, std::string for_);

    /// Installs the closure that is called with every event after its intake, also for unknown
    /// channels. It runs inside the manager's barrier: other events wait for it, and it must not
    /// call timerEventHandler(). It does not see an event that has to be copied or read from text
    /// for it, if there is no memory for that. It sees events that are handed over after
    /// shutdown(), too.
    ///
    /// Empty takes it away. When this returns, a call of the closure before may still be running on
    /// another thread; it has ended when a later flush() or shutdown() returns `atRest`. A closure
    /// is destroyed after its last call.
    static void setTriggerCallback(
        std::function<void(const Dictionary& event, const std::string& index)> callback);

    /// Flushes one channel: sends its pending events or, if there are none, one retry entry. Each
    /// tick of the flush timer and each post of didEnterBackground calls it for each channel. It
    /// waits for the events before it, so inside the manager's barrier it stops the process.
    void timerEventHandler(const std::shared_ptr<TrackerConfig>& config);

    /// The ledger of one channel; absent where none is registered under `index`.
    std::optional<LedgerSnapshot> ledger(std::string_view index) const;
    /// The ledger of every channel by its index, and that of events for unknown channels: under "",
    /// or under "(unknown)" where a channel has the index "".
    std::map<std::string, LedgerSnapshot> ledgers() const;
    /// The same as a dictionary.
    Dictionary ledgersDictionary() const;

    // ---- TrackerManager+Consent.cpp: on and off ----

    /// Consent of the user: on until set. Off drops all that is pending, waits for its retry or was
    /// posted and not sent yet, as `disabled`, and every event that is handed over later; the
    /// trigger callback sees those all the same. Nothing is offered to the provider, and no request
    /// begins once this has returned. A request that was sent before ends: its batch is delivered,
    /// or dropped as `disabled`. Timer, hooks and log lines go on. On again begins with empty
    /// lists.
    ///
    /// Takes effect in the order of calls, and waits for nothing, so a closure may call it, too.
    static void setEnabled(bool on);

    // ---- TrackerManager+Limits.cpp: how much is kept ----

    /// How much all channels together keep from now on, beside the limits of each
    /// (TrackerConfig::setLimits()); without limits, as until set, they keep all. Events of unknown
    /// channels and reports to the provider count in none. What is kept beyond them is dropped
    /// before any event is taken in that is handed over later. While there are limits, each event
    /// costs the library's thread a look at every channel.
    static void setLimits(const Limits& limits);
    /// What setLimits() was told.
    static Limits limits();

    // ---- TrackerManager+Flush.cpp: sending everything, and the end ----

    /// Posts all events that were handed over before, and each batch that waits for its retry once,
    /// channels by index, and waits until they and all uploads under way are answered. It never
    /// waits longer than `deadline`, in seconds, and with 0 not at all: then the library's threads
    /// go on posting. Absent, and nothing is done, if `deadline` is negative or not finite.
    ///
    /// A batch that fails counts as ever, and is not tried again by this call. Called from a
    /// closure that the library calls in the middle of its work (trigger callback, URL hook,
    /// identifier during a request, diagnostics handler, log service) or on a thread of its own, it
    /// does not wait; inside a hook it does. Once exit() has called the library's exit handler,
    /// which is as new as the host's newest closure, it posts nothing and returns at once.
    static std::optional<FlushResult> flush(std::chrono::duration<double> deadline);

    /// The end, before main() returns: refuses events from now on (`afterShutdown`), flushes, stops
    /// the flush timer, the network's notifier and the observation of background and foreground,
    /// and begins no upload any more. What is not delivered then is lost when the process ends.
    /// Stop hooks are not called. Afterwards start() and register_() do nothing. A second call
    /// waits for what is under way. Deadline and result as with flush().
    ///
    /// It takes no closure away: the trigger callback, the diagnostics handler and the log service
    /// may still be called afterwards, and so may the URL hook and the identifier closure for an
    /// upload that had begun. What they use must outlive their last call.
    static std::optional<FlushResult> shutdown(std::chrono::duration<double> deadline);

    // ---- TrackerManager+Diagnosis.cpp: why data do not arrive ----

    /// Installs the handler that is told what goes wrong: uploads that fail, batches and events
    /// that are dropped, headers that are left out, closures that throw. Empty takes it away; there
    /// is none until set. It is called on a thread of the library's, for one diagnostic after the
    /// other, ten a second at most. It may block, throw, and call the library, and it may run some
    /// time after what it is told of; nothing waits for it. While a hundred diagnostics wait for a
    /// handler that blocks, further ones are only counted (Diagnostic::Kind::heldBack).
    ///
    /// It may be called after shutdown(), too. When this returns, a call of the handler before may
    /// still be running on another thread; flush() and shutdown() do not wait for it, so a handler
    /// should own what it uses. It is destroyed after its last call. Only exit() waits until a call
    /// has returned, and without a limit: a handler that blocks for ever keeps the process from
    /// ending.
    static void setDiagnosticsHandler(DiagnosticsHandler handler);

    /// All channels as text for a person, one line each, for a log file or a support page:
    ///
    ///     E2E: 1,204 waiting, last failure 3 s ago: Could not resolve host: collector.example
    ///     (https://collector.example/e2e), 2nd of 4 attempts
    ///
    /// The text may change in every version; ledgers() has the same as figures.
    std::string diagnosis() const;

    // ---- TrackerManager+APM.cpp: APM reports ----

    /// Fills in the page, the network and the page's parameters where the record has such
    /// properties and they are absent, and reports the record. An lvalue is changed itself:
    /// reported again, it names the same page. The dictionaries and arrays of an rvalue are empty
    /// afterwards. `Record` is TrackerMeta, or another record that derives from DataAsDict.
    /// Deliberate, here and below: useOstra and immediately change nothing.
    template<DataAsDictRecord Record>
    void enrollAPMReport(Record& record, [[maybe_unused]] bool useOstra = false)
    {
        reportRecord(
            detail::propertyKeys<Record>, [&] { detail::completed(record); },
            [&](detail::TakeProperty take) { detail::passProperties(record, take); });
    }
    /// The same for a record that is given up.
    template<DataAsDictRecord Record>
    void enrollAPMReport(Record&& record, [[maybe_unused]] bool useOstra = false)
    {
        const auto pass = [&](detail::TakeProperty take) {
            detail::passProperties(std::forward<Record>(record), take);
        };
        reportRecord(
            detail::propertyKeys<Record>, [&] { detail::completed(record); }, pass);
        detail::disposeOfProperties(pass);
    }

    /// Completes a dictionary of the host and reports it; an empty one is dropped without a log
    /// line. "d" (seconds since 1970) and "ipaMode" are replaced. "p", "wifi", "si" (seconds since
    /// the start) and "pageExpend" are filled in where the key is missing; a null of the host
    /// stays. If "t" is "FPS", "fpt" becomes 1 while a change of page is under way, otherwise 0. A
    /// text in "cs" is also put into "extra", as a member of the object that "extra" is or contains
    /// as JSON text. An "extra" that is not JSON stays, and a line on standard output says so.
    void reportAPMDict(Dictionary&& dict, bool immediately = false, bool useOstra = false);
    /// The same, with a copy.
    void reportAPMDict(const Dictionary& dict, bool immediately = false, bool useOstra = false);

    /// Reports a finished dictionary: to the provider if there is one and an "APM" channel,
    /// otherwise to that channel. The provider gets the channel's common data merged with `dict`,
    /// whose values win, on this thread; such a report enters no list, and the trigger callback is
    /// not called. A report that cannot be encoded, or that makes the provider throw, is lost with
    /// a log line.
    void wrapAppendTracker(Dictionary&& dict, bool useOstra = false);
    /// The same, with a copy.
    void wrapAppendTracker(const Dictionary& dict, bool useOstra = false);

    // ---- TrackerManager+Enroll.cpp: one measurement each, as an APM report ----
    //
    // Each makes a TrackerMeta, copies its arguments into the properties named here, and calls
    // enrollAPMReport(). Times and intervals are in any unit the host likes: nothing is scaled,
    // checked or dropped. A page's name is sent as it is, also when it is empty.
    //
    // Those that take a measurement with named members send milliseconds; Measurements.h has the
    // members, their units and their fallbacks:
    //
    //     enrollLCPTrack({ .render = 48ms, .total = 241ms, .page = "MarketsViewController" });

    /// "SLOW-FRAME". `slowInterval` (`at`) is the slow part of `totalInterval` (`ct`), measured on
    /// the page `topViewController` (`p`).
    void enrollSlowFrameTrack(double slowInterval, double totalInterval,
        std::string topViewController, bool useOstra = false);
    /// The same in milliseconds.
    void enrollSlowFrameTrack(SlowFrame frame);
    /// "FROZEN-FRAME". `frozenInterval` (`at`) is the frozen part of `totalInterval` (`ct`),
    /// measured on the page `topViewController` (`p`).
    void enrollFrozenFrameTrack(double frozenInterval, double totalInterval,
        std::string topViewController, bool useOstra = false);
    /// The same in milliseconds.
    void enrollFrozenFrameTrack(FrozenFrame frame);
    /// "PAGE-VIEW". The user sees the page `topViewController` (`p`).
    void enrollPageViewTrack(std::string topViewController, bool useOstra = false);
    /// "BLOCK". Skarn is the host's monitor of its main thread. It found the thread blocked:
    /// `backtrace` (`si`) is where, `cpu` (`ci`) describes the CPU load. Both are sent as they are.
    void enrollSkarnTrack(std::string backtrace, std::string cpu, bool useOstra = false);
    /// "FIRST-FRAME". `frameInterval` (`f`) is how long the page `topViewController` (`p`) took to
    /// show its first frame. It is rounded to two decimals, half away from zero.
    void enrollFirstFrameTrack(
        double frameInterval, std::string topViewController, bool useOstra = false);
    /// The same in milliseconds.
    void enrollFirstFrameTrack(FirstFrame frame);
    /// "LCP", the largest contentful paint of the page `pageName` (`p`): `initTime` (`fcp`),
    /// `renderTime` (`pt`), `requestTime` (`reqt`), `firstFrameTime` (`ft`), `totalTime` (`ct`).
    /// Deliberate: `startTime` is not reported.
    void enrollLCPTrack(double startTime, double initTime, double renderTime, double requestTime,
        double firstFrameTime, double totalTime, std::string pageName, bool useOstra = false);
    /// The same in milliseconds.
    void enrollLCPTrack(LCP paint);
    /// "START", a launch of the application. The entries "fp", "fpt", "dcl", "fcp", "ct", "d", "at"
    /// and "ht" of `with` become the properties of the same names; others are ignored. "d" is the
    /// time of the launch in seconds since 1970.
    /// Deliberate: a missing entry is 0, also for "d".
    void enrollLaunchTrack(
        const std::map<std::string, double, std::less<>>& with, bool useOstra = false);
    /// A template, so that `{}` still means a map.
    template<std::same_as<Launch> Measurement = Launch>
    void enrollLaunchTrack(const Measurement& launch)
    {
        enrollLaunch(launch);
    }

    // ---- TrackerManager+E2E.cpp: the E2E, MP and Sentry channels ----
    //
    // DefaultIndex says what each channel is for. "network" is getCurrentNetWorkStatus() on the
    // calling thread; it replaces what the event has under that key.

    /// Sets "network" and hands the event to "E2E".
    void enrollE2ETrack(Dictionary&& event);
    /// The same, with an event that is built.
    template<BuiltEvent Event> void enrollE2ETrack(Event&& event)
    {
        appendBuilt(event, std::string(rawValue(DefaultIndex::E2E)), Network::stamped);
    }
    /// The same, with a copy.
    void enrollE2ETrack(const Dictionary& event);
    /// Hands the event to "MP" unchanged.
    void enrollMPTrack(Dictionary&& event);
    /// The same, with an event that is built.
    template<BuiltEvent Event> void enrollMPTrack(Event&& event)
    {
        appendBuilt(event, std::string(rawValue(DefaultIndex::MP)), Network::notStamped);
    }
    /// The same, with a copy.
    void enrollMPTrack(const Dictionary& event);
    /// Sets "network" and hands the event to "APM" if `byAPM`, otherwise to "Sentry".
    void enrollSentryTrack(Dictionary&& event, bool byAPM);
    /// The same, with an event that is built.
    template<BuiltEvent Event> void enrollSentryTrack(Event&& event, bool byAPM)
    {
        const DefaultIndex index = byAPM ? DefaultIndex::APM : DefaultIndex::Sentry;
        appendBuilt(event, std::string(rawValue(index)), Network::stamped);
    }
    /// The same, with a copy.
    void enrollSentryTrack(const Dictionary& event, bool byAPM);

    /// The standard common data: those of CommonTrackerModel, "buid" (the identifier, if the host
    /// has one) and "session" (a new UUID with every call).
    Dictionary getCommonE2EDatas();
    /// Installs the standard common data on "E2E", with the event list under "data".
    void setupCommonE2EDatas();
    /// Installs the standard common data on "MP", with the event list under "data-list".
    void setupCommonMPDatas();
    /// Installs the standard common data on "Sentry", with the event list under "data", if
    /// `standard` or `byAPM`. Otherwise those of the front-end monitor, under "data-list": those of
    /// TrackerWrapper, "system-version" and "bundleId".
    void setupCommonSentryDatas(bool standard, bool byAPM);

    // ---- TrackerManager+Info.cpp: network, page and common data ----

    /// The kind of network now: "2G", "3G", "4G", "5G", "WIFI", "none" or "unknown".
    std::string_view getCurrentNetWorkStatus();

    /// The manager's reachability object. A handler installed on it replaces the one of start(),
    /// and the next start() replaces it.
    CommonTrackNetworkStatus& networkStatus() { return m_networkStatus; }

    /// Replaces the white list of TrackerDataExcavator: suffixes of scene names whose screens are
    /// the page, whatever other screens they contain.
    void updateTracker(std::vector<std::string> list);

    // ---- TrackerManager+Vendel.cpp: common data of the APM channel ----

    /// Installs the standard common data on "APM", with the event list under "data". APM batches in
    /// this form are called Vendel.
    void setupCommonVendelDatas();

    // ---- For tests and tools ----

    /// A registered channel, or null.
    std::shared_ptr<TrackerConfig> config(std::string_view index) const;
    /// The flush timer, to read whether it runs and its interval.
    const TrackerTimer& trackerTimer() const { return m_trackerTimer; }

private:
    friend class detail::Delivery;
    friend class detail::Lazy<TrackerManager>;
    friend class TrackerConfig;

    enum class ConfigStatus {
        idle,
        running,
    };

    // Shared and never changed: a change replaces the whole map by a changed copy.
    using Configs = std::map<std::string, std::shared_ptr<TrackerConfig>, std::less<>>;
    using Statuses = std::map<std::string, ConfigStatus, std::less<>>;
    using TriggerCallback = std::function<void(const Dictionary&, const std::string&)>;

    TrackerManager();

    // After the platform was taken down. The queue drops every event then, so that handing one over
    // need not ask.
    void retire();
    bool isRetired() const { return m_isRetired.load(std::memory_order_relaxed); }
    bool isInert() const { return detail::isForkedChild() || isRetired(); }

    // Never null; empty in a forked child.
    std::shared_ptr<const Configs> configs() const;
    void setStatus(const std::string& index, ConfigStatus status);
    ConfigStatus status(const std::string& index) const;
    static void callHook(
        TrackerConfig& config, const std::shared_ptr<const TrackerConfig::Hook>& hook);

    void removeObservers();
    void applicationEnterBackground();
    void applicationBackgroundEnterFront();

    template<typename Event> struct IntakeBlock;
    struct RecordBlock;

    enum class Network {
        stamped,
        notStamped,
    };
    void appendBuilt(EventBuilder& event, std::string index, Network network);

    // Calls `step`, which puts an event for the channel `index` into the queue. If it throws, the
    // event counts as an internal error of that channel.
    template<typename Step> void submit(const std::string& index, Step&& step)
    {
        if (detail::isForkedChild())
            return;
        try {
            std::forward<Step>(step)();
        } catch (...) {
            recordUnsubmitted(index);
        }
    }
    // The same for a step that takes `event`. One that was not taken is destroyed here, because its
    // owner would recurse.
    template<typename Step> void submit(const std::string& index, Dictionary& event, Step&& step)
    {
        submit(index, std::forward<Step>(step));
        if (!event.empty())
            dispose(std::move(event));
    }
    void recordUnsubmitted(const std::string& index);

    void enqueue(Dictionary&& event, std::string&& index, std::string_view network = {});
    void enqueue(EventBuilder&& event, std::string&& index, std::string_view network = {});
    void enqueueRecord(detail::PropertyKeys keys, detail::PassProperties pass);
    std::size_t intake(Value& event, const std::string& index, std::string_view network);
    void intakeRecord(const std::string& text);
    struct Destination;
    Destination destination(std::string_view index);
    void refuseOverLimit(Destination& to, std::string_view text) const;
    template<typename Append> void accept(const Destination& to, const Append& append) noexcept;
    bool hasTriggerCallback() const;
    void trigger(const Dictionary& event, const std::string& index, detail::ChannelLedger& ledger);

    static bool haveLimits(const TrackerConfig& channel);
    void forEachBounds(const std::shared_ptr<TrackerConfig>& channel,
        FunctionRef<void(const detail::Bounds& bounds)> use) const;
    bool hasRoom(const std::shared_ptr<TrackerConfig>& channel, const detail::Held& more) const;
    void holdLimits(const std::shared_ptr<TrackerConfig>& channel) const noexcept;
    static void holdLimitsSoon(const std::shared_ptr<TrackerConfig>& channel);

    enum class Afterwards {
        goOn,
        stop,
    };
    struct Flush;
    FlushResult postAndWait(std::chrono::duration<double> deadline, Afterwards afterwards);
    void postAll();
    std::int64_t left() const;
    void dropAll(DropReason reason);

    void reportRecord(
        detail::PropertyKeys keys, FunctionRef<void()> complete, detail::PassProperties pass);
    void enrollLaunch(const Launch& launch);
    struct Provider;
    std::optional<Provider> provider() const;
    // Both in +Info.cpp.
    Dictionary standardCommonData();
    static void stampNetwork(Dictionary& event, std::string_view status);
    // In +Vendel.cpp: installs the common data of the front-end monitor on "Sentry".
    void setupFEMonitor();

    TrackerTimer m_trackerTimer;
    lockAtomic<std::shared_ptr<QVXOstraProviderProtocol>> m_ostraProvider;
    CommonTrackNetworkStatus m_networkStatus;
    std::unique_ptr<DispatchQueue> m_queue;
    // Used in barrier blocks of the queue alone.
    const std::unique_ptr<detail::Encoder> m_encoder;
    const std::unique_ptr<detail::FinishedEvents> m_finished;
    // As the last block of setEnabled() has left it.
    std::atomic<bool> m_isDisabled { false };
    detail::Guarded<Limits> m_limits;
    // True from the call of shutdown() on.
    std::atomic<bool> m_isShutDown { false };
    // True from the block of shutdown() on: events that were handed over before it are taken in.
    std::atomic<bool> m_refusesEvents { false };
    lockAtomic<std::shared_ptr<const Configs>> m_configs;
    lockAtomic<std::shared_ptr<const Statuses>> m_configStatus;
    std::string m_sessionId;
    lockAtomic<std::shared_ptr<const std::function<std::optional<std::string>()>>> m_fetchQvxUuid;
    lockAtomic<std::shared_ptr<const TriggerCallback>> m_triggerCallback;
    detail::ChannelLedger m_unknownChannels;
    std::atomic<bool> m_isRetired { false };
};

} // namespace telvora
