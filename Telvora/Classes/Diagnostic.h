#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Classes/TrackerLedger.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace telvora {

/// One thing that went wrong, as TrackerManager::setDiagnosticsHandler() hands it over. Members
/// that a kind does not name are empty or 0.
struct TELVORA_EXPORT Diagnostic {
    /// What went wrong, and which members say more.
    enum class Kind {
        /// An upload failed, and the batch waits for its next try: `upload`, `events`.
        uploadFailed,
        /// A batch is dropped after an upload of it failed: `upload`, `events`, `dropReason`.
        batchGivenUp,
        /// Events are dropped that no upload was made of: `events`, `dropReason`. Those of one
        /// channel and one reason are gathered for a second.
        eventsDropped,
        /// HTTP cannot carry a header, so it is left out of a request: `header`.
        headerLeftOut,
        /// A closure of the host threw: `reason` says which one and what.
        hostException,
        /// More went wrong within a second than the handler was told, or while a hundred
        /// diagnostics waited for it: `count` of them are not delivered.
        heldBack,
    };

    /// What went wrong.
    Kind kind = Kind::uploadFailed;
    /// The channel; of events for an unknown one, the index that was asked for. Empty if the kind
    /// concerns no channel.
    std::string index {};
    /// The upload that failed.
    std::optional<UploadFailure> upload {};
    /// How many events it concerns.
    std::int64_t events = 0;
    /// Why they are dropped.
    std::optional<DropReason> dropReason {};
    /// The header's name.
    std::string header {};
    /// What a closure of the host threw, for a person.
    std::string reason {};
    /// How many diagnostics were not delivered.
    std::int64_t count = 0;
};

/// "uploadFailed", "batchGivenUp" and so on.
TELVORA_EXPORT std::string_view rawValue(Diagnostic::Kind kind);

/// Takes one diagnostic; TrackerManager::setDiagnosticsHandler() says on which thread.
using DiagnosticsHandler = std::function<void(const Diagnostic&)>;

} // namespace telvora
