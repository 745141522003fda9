#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/Work.h>
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

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace telvora {

// Longer than other headers: all that a host calls is here, in the order of the sources.

/// The library, as a host sees it: register a TrackerConfig for each channel, start once, and hand
/// over events.
///
/// Life: one instance, made on first use and never destroyed; calls at exit are harmless, and call
/// no closure of the host's any more.
///
/// Fork: a process may register, set up and fork, as a daemon does; the child works like any other.
/// Once start() was called, an event was handed over or a request sent, a child that is forked gets
/// an inert library: every call returns at once and does nothing, and there is nothing to see.
///
/// Threads: every operation from any thread. Nothing an event passes through waits for the network
/// or for another event; intake runs later, in order, on the manager's own queue.
///
/// Failure: nothing is thrown and nothing returned. Unknown channels and empty closures are
/// skipped; what the host's closures throw is caught and counted (hostExceptionCount(), and the
/// channel's ledger); what became of every event is in the ledger. Registering one index twice
/// stops the process.
///
/// Dictionaries: an operation takes one over, or copies it, without recursion however deep it is.
class TELVORA_EXPORT TrackerManager {
public:
    static TrackerManager& shared();

    // ---- TrackerManager.cpp: set-up, start and stop ----

    /// What the host's identifier closure answers now.
    static std::optional<std::string> uuid();
    /// Installs the closure that gives the host's identifier; called each time it is needed.
    void setQvxUuid(std::function<std::optional<std::string>()> fetch);

    /// A random UUID, the same for the life of the process.
    const std::string& sessionId() const { return m_sessionId; }

    void setMode(TrackerMode mode);

    /// Headers for every request of every channel; a channel's own, and the fixed ones, win.
    static void configHeaders(StringDictionary headers);

    /// Installs the reporting provider; null takes it away.
    void setupOstra(std::shared_ptr<QVXOstraProviderProtocol> provider);

    /// Adds a channel. A second one of the same index stops the process with "TrackerManager: There
    /// are 2 same configs - index `INDEX`".
    void register_(std::shared_ptr<TrackerConfig> config);

    /// Replaces the common data of the channel `for_` and the key of its event list; nothing
    /// happens where no such channel is registered.
    void setupCommonDatas(Dictionary&& commonDatas, std::string dataListKey, std::string_view for_);
    void setupCommonDatas(
        const Dictionary& commonDatas, std::string dataListKey, std::string_view for_);

    /// Follows the application's moves, starts the flush timer and the network notifier, and calls
    /// the start hook of each channel that is not running.
    ///
    /// Deliberate: a channel without a start hook is not marked as running. A second start observes
    /// the moves a second time.
    static void start();

    /// Stops following the application's moves and calls each stop hook.
    ///
    /// Deliberate: the timer goes on, and nothing is flushed.
    static void stop();

    // ---- TrackerManager+Intake.cpp: the road of an event ----

    /// Hands an event to the channel `for_`. It is moved into a block of the queue; the rest
    /// happens there.
    void appendTracker(Dictionary&& event, std::string for_);
    void appendTracker(const Dictionary& event, std::string for_);

    /// Installs the closure that sees every event after its intake, known channel or not. It holds
    /// up the queue while it runs.
    static void setTriggerCallback(
        std::function<void(const Dictionary& event, const std::string& index)> callback);

    /// Sends what is pending, or else one retry entry, of one channel. What a tick does.
    void timerEventHandler(const std::shared_ptr<TrackerConfig>& config);

    /// The account of one channel; absent where none is registered under `index`.
    std::optional<LedgerSnapshot> ledger(std::string_view index) const;
    /// The account of every channel by its index, and that of events for unknown ones: under "", or
    /// under "(unknown)" where a channel has the index "".
    std::map<std::string, LedgerSnapshot> ledgers() const;
    /// The same as a dictionary.
    Dictionary ledgersDictionary() const;

    // ---- TrackerManager+APM.cpp: APM reports ----

    /// Completes the record itself with page, network and page parameters, those of them that it
    /// has, and reports it. A host that keeps it and reports it again reports the same page.
    /// `Record` is TrackerMeta, or another record that derives from DataAsDict.
    /// Deliberate, here and below: useOstra and immediately change nothing.
    template<DataAsDictRecord Record> void enrollAPMReport(Record& record, bool useOstra = false)
    {
        reportRecord([&] { return detail::completed(record).asDictionary(); }, useOstra);
    }
    template<DataAsDictRecord Record> void enrollAPMReport(Record&& record, bool useOstra = false)
    {
        reportRecord([&] { return std::move(detail::completed(record)).asDictionary(); }, useOstra);
    }

    /// Completes a dictionary of the host's and reports it; an empty one is dropped. "d" and
    /// "ipaMode" are written over; "p", "wifi", "si" (seconds since the start) and "pageExpend" are
    /// filled in where the key is missing, a null of the host's being a value; "fpt" of an "FPS"
    /// report says whether a change of page is under way. A text in "cs" is carried inside "extra"
    /// as well: as a member of the object there, or of the one that its JSON text is; text that is
    /// no JSON stays, with a line on standard output.
    void reportAPMDict(Dictionary&& dict, bool immediately = false, bool useOstra = false);
    void reportAPMDict(const Dictionary& dict, bool immediately = false, bool useOstra = false);

    /// Reports to the provider, when there is one and an "APM" channel, or else to that channel.
    /// The provider gets the channel's common data with `dict` laid over it, on this thread; such a
    /// report enters no list and reaches no trigger callback. What cannot be encoded for it, or
    /// makes it throw, is lost with a log line.
    void wrapAppendTracker(Dictionary&& dict, bool useOstra = false);
    void wrapAppendTracker(const Dictionary& dict, bool useOstra = false);

    // ---- TrackerManager+Enroll.cpp: one measurement each, in the host's own units ----

    void enrollSlowFrameTrack(double slowInterval, double totalInterval,
        std::string topViewController, bool useOstra = false);
    void enrollFrozenFrameTrack(double frozenInterval, double totalInterval,
        std::string topViewController, bool useOstra = false);
    void enrollPageViewTrack(std::string topViewController, bool useOstra = false);
    void enrollSkarnTrack(std::string backtrace, std::string cpu, bool useOstra = false);
    void enrollFirstFrameTrack(
        double frameInterval, std::string topViewController, bool useOstra = false);
    /// `startTime` is not reported.
    void enrollLCPTrack(double startTime, double initTime, double renderTime, double requestTime,
        double firstFrameTime, double totalTime, std::string pageName, bool useOstra = false);
    /// Deliberate: a missing entry is 0, the record's own time "d" among them.
    void enrollLaunchTrack(
        const std::map<std::string, double, std::less<>>& with, bool useOstra = false);

    // ---- TrackerManager+E2E.cpp: the E2E, MP and Sentry channels ----

    /// Stamps "network" over whatever is there and hands the event to "E2E".
    void enrollE2ETrack(Dictionary&& event);
    void enrollE2ETrack(const Dictionary& event);
    /// Hands the event to "MP" as it is.
    void enrollMPTrack(Dictionary&& event);
    void enrollMPTrack(const Dictionary& event);
    /// Stamps "network" and hands the event to "APM" or to "Sentry".
    void enrollSentryTrack(Dictionary&& event, bool byAPM);
    void enrollSentryTrack(const Dictionary& event, bool byAPM);

    /// Device, application, identifier, and a new "session" with every call.
    Dictionary getCommonE2EDatas();
    /// Installs it under "data".
    void setupCommonE2EDatas();
    /// Installs it under "data-list".
    void setupCommonMPDatas();
    /// Installs it under "data" when either flag is set; else the front-end monitor's own form
    /// under "data-list".
    void setupCommonSentryDatas(bool standard, bool byAPM);

    // ---- TrackerManager+Info.cpp: network, page and common data ----

    /// "2G" to "5G", "WIFI", "none" or "unknown", as of now.
    std::string_view getCurrentNetWorkStatus();

    /// The long-lived reachability object. A handler installed on it replaces any earlier one, as
    /// start() does with its own.
    CommonTrackNetworkStatus& networkStatus() { return m_networkStatus; }

    /// Replaces the ends of scene names whose screens are the page whatever they contain; an empty
    /// list leaves every screen to the walk.
    void updateTracker(std::vector<std::string> list);

    // ---- TrackerManager+Vendel.cpp ----

    /// Installs the standard common data on "APM" under "data".
    void setupCommonVendelDatas();

    // ---- For looking at ----

    /// A registered channel, or null.
    std::shared_ptr<TrackerConfig> config(std::string_view index) const;
    const TrackerTimer& trackerTimer() const { return m_trackerTimer; }

private:
    enum class ConfigStatus {
        idle,
        running,
    };

    // Copied in and out by a reference count; whoever changes one makes a copy first.
    using Configs = std::map<std::string, std::shared_ptr<TrackerConfig>, std::less<>>;
    using Statuses = std::map<std::string, ConfigStatus, std::less<>>;
    using TriggerCallback = std::function<void(const Dictionary&, const std::string&)>;

    TrackerManager();

    // Never null; empty in a forked child.
    std::shared_ptr<const Configs> configs() const;
    void setStatus(const std::string& index, ConfigStatus status);
    ConfigStatus status(const std::string& index) const;
    static void callHook(
        TrackerConfig& config, const std::shared_ptr<const TrackerConfig::Hook>& hook);

    void applicationEnterBackground();
    void applicationBackgroundEnterFront();

    // An event on its way through the queue.
    struct IntakeBlock;

    // Runs what an operation does before its event is in the queue. Where that throws, the event is
    // an internal error on the account of its channel.
    template<typename Step> void handOn(const std::string& index, Step&& step)
    {
        try {
            std::forward<Step>(step)();
        } catch (...) {
            lostBeforeIntake(index);
        }
    }
    void lostBeforeIntake(const std::string& index);

    void intake(Dictionary& event, const std::string& index);
    void trigger(const Dictionary& event, const std::string& index, ChannelLedger& ledger);

    void reportRecord(FunctionRef<Dictionary()> makeDictionary, bool useOstra);
    Dictionary standardCommonData();
    void setupFEMonitor();
    void stampNetwork(Dictionary& event);

    TrackerTimer m_trackerTimer;
    lockAtomic<std::shared_ptr<QVXOstraProviderProtocol>> m_ostraProvider;
    CommonTrackNetworkStatus m_networkStatus;
    std::unique_ptr<DispatchQueue> m_queue;
    lockAtomic<std::shared_ptr<const Configs>> m_configs;
    lockAtomic<std::shared_ptr<const Statuses>> m_configStatus;
    std::string m_sessionId;
    lockAtomic<std::shared_ptr<const std::function<std::optional<std::string>()>>> m_fetchQvxUuid;
    lockAtomic<std::shared_ptr<const TriggerCallback>> m_triggerCallback;
    ChannelLedger m_unknownChannels;
};

} // namespace telvora
