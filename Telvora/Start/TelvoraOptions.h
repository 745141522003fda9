#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Classes/ChannelChoices.h>
#include <Telvora/Classes/Diagnostic.h>
#include <Telvora/Classes/Limits.h>
#include <Telvora/Classes/OstraProviderProtocol.h>
#include <Telvora/Classes/RetryPolicy.h>
#include <Telvora/Classes/TrackerConfiguration.h>
#include <Telvora/Classes/Utils/Batch.h>
#include <Telvora/LoggableKit/Classes/LogService.h>
#include <Telvora/Start/Address.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What startTelvora() is told. Every member has a default; where nothing else is said, leaving it
/// out leaves the library as it is without it.
///
/// Threads: values without a lock.
namespace telvora {

/// Which of the library's own common data (device, application, identifier, session) are in every
/// batch of a channel, beside the events.
enum class StandardData {
    /// None.
    none,
    /// Those of CommonTrackerModel, "buid" and "session".
    standard,
    /// Those for the front-end monitor. For the channel "Sentry" alone.
    frontEndMonitor,
};

/// One channel: a stream of events with its own address.
struct Channel {
    /// The channel's name. "APM", "MP", "E2E" and "Sentry" are those that the library's own
    /// operations use. Must be given.
    std::string index {};
    /// How many events make a batch that is sent at once; fewer are sent with the timer. With 0
    /// each event is sent alone.
    std::int64_t limit = 20;
    /// Where batches are posted. Must be given, except for "APM" with a reporting provider.
    Address url {};
    /// Headers of every request of this channel. Those that the library itself sets are refused:
    /// "Content-Type", "clienttype", "versioncode", "system-version", "QVX-UUID", "x-trace-id";
    /// "Content-Encoding" and "x-batch-id" where the choices below say so.
    StringDictionary headers {};
    /// Left out: none.
    StandardData standardData = StandardData::none;
    /// Further common data, which win over the standard ones. For data that are nested deeper than
    /// a stack allows there is TrackerConfig::setCommonData().
    Dictionary commonData {};
    /// The key of the event list in a batch. Absent: "data" in the standard data of "APM", "E2E"
    /// and "Sentry", otherwise "data-list". `commonData` must not have this key.
    std::optional<std::string> listKey {};
    /// Whether batches are compressed.
    BodyEncoding encoding = BodyEncoding::plain;
    /// What a number costs that is not finite.
    NonFiniteCost nonFinite = NonFiniteCost::batch;
    /// What an address of a closure does that cannot be parsed.
    BadAddress badAddress = BadAddress::stop;
    /// Whether requests have the header "x-batch-id", the same in all tries of a batch.
    bool hasBatchId = false;
    /// How often and when a batch is tried again. Absent: three times, with the events and ticks
    /// that follow.
    std::optional<RetryPolicy> retry {};
    /// How much the channel keeps in memory at most. Without limits: everything.
    Limits limits {};
    /// Called by startTelvora(). A channel without it counts as running only after the first return
    /// to the foreground.
    std::function<void()> onStart {};
    /// Called by TrackerManager::stop() and when the application enters the background.
    std::function<void()> onStop {};
    /// Called when the application returns to the foreground.
    std::function<void()> onRestart {};
};

/// The whole set-up of a host:
///
///     startTelvora({
///         .channels = { Channel { .index = "E2E", .url = "https://collector.example/e2e" } },
///         .identifier = [] { return "installation-42"; },
///     });
struct TelvoraOptions {
    /// More can be registered later, with TrackerManager::register_().
    std::vector<Channel> channels {};
    /// Headers of every request of every channel; one of a channel's own wins. Refused as there.
    StringDictionary headers {};
    /// How much all channels together keep in memory at most, those too that are registered later.
    /// Without limits: everything.
    Limits limits {};
    /// Returns the identifier of the device or installation: the header "QVX-UUID" and "buid" in
    /// the standard data. TrackerManager::setQvxUuid() says when it is called. Empty, or where it
    /// returns absent: both are left out.
    std::function<std::optional<std::string>()> identifier {};
    /// Whether the host is a debug or a release build. Absent: `release`, unless set before.
    std::optional<TrackerMode> mode {};
    /// The host's own log. Null: the library logs nothing, unless a log was configured before.
    std::shared_ptr<LogService> log {};
    /// Is told what goes wrong later: uploads that fail, events that are dropped. Empty: nobody is.
    DiagnosticsHandler onDiagnostic {};
    /// Sees every event; TrackerManager::setTriggerCallback() says what it must not do.
    std::function<void(const Dictionary& event, const std::string& index)> onEvent {};
    /// Takes the APM reports instead of a collector. It gets them merged with the common data of
    /// "APM", so that channel must be there, with or without an address. Null: the reports are
    /// events of "APM".
    std::shared_ptr<QVXOstraProviderProtocol> reportingProvider {};
};

} // namespace telvora
