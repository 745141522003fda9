#pragma once

/// What a channel may choose with the setters of TrackerConfig. The first case of each is what it
/// does until then.
namespace telvora {

/// What a number costs that JSON cannot express (NaN or an infinity).
enum class NonFiniteCost {
    /// The batch that its event is in: it is dropped as `unencodable` when it is to be sent.
    batch,
    /// Its event, which is dropped as `notFinite` at intake. In common data: as `batch`.
    event,
    /// Nothing: it is written as null.
    null,
};

/// What an address does that cannot be parsed as one.
enum class BadAddress {
    /// It stops the process, as a programming error does.
    stop,
    /// The upload fails and is tried again, as if the server could not be reached.
    fail,
};

} // namespace telvora
