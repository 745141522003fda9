#pragma once

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Classes/ChannelChoices.h>
#include <Telvora/Classes/Utils/Batch.h>
#include <Telvora/Classes/Utils/EventList.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace telvora::detail {

/// What PendingEvents::append() did.
struct AppendedEvent {
    /// How many events the list has now.
    std::size_t size = 0;
    /// How long the event's text is.
    std::size_t bytes = 0;
    /// The event, if the list keeps it as a tree; otherwise null.
    std::shared_ptr<const AnyDepth<Value>> whole {};
    /// Whether the list did not take it, because a number in it is not finite.
    bool isRefused = false;
};

/// A channel's events that are not sent yet.
///
/// Life: as long as the channel.
/// Threads: shown() from any; copyAll() in a synchronous block of the manager's queue; everything
/// else in barrier blocks of it. The queue orders the changes; the lock is for shown(), which does
/// not use the queue.
/// Failure: what returns events or a batch, and append(), throws std::bad_alloc and has then
/// changed nothing.
/// Fork: in a forked child it is empty, and stays so.
class TELVORA_EXPORT PendingEvents {
public:
    explicit PendingEvents(Array&& first);

    /// Puts the event at the end. It is moved only if the list keeps it as a tree.
    AppendedEvent append(
        Value&& event, Encoder& encoder, NonFiniteCost nonFinite = NonFiniteCost::batch);
    /// The same for an event that need not be kept beside its text. Returns how many events the
    /// list has now.
    std::size_t append(std::string_view text);

    /// Which events: all, or those that no copy contained.
    enum class Which { all, notCopied };

    /// A batch of the events, which stay in the list; null if there are none.
    Batch batch(std::shared_ptr<const EncodedCommonData> common,
        BodyEncoding encoding = BodyEncoding::plain, Which which = Which::all) const;

    /// Empties the list. shown() returns the events of `batch` until finishSending(), as it does
    /// while a copy is sent. Returns how many events no copy contained.
    std::uint32_t beginSending(const Batch& batch);
    void finishSending();

    /// A copy of the list.
    struct Copied {
        EventList events;
        /// How many of them no earlier copy contained.
        std::uint32_t newEvents = 0;
    };
    Copied copyAll();

    /// Empties the list after a copy was sent. Returns how many events no copy contained.
    std::size_t clear();

    std::size_t size() const;

    /// The events that are pending or leave at this moment.
    Array shown() const;

private:
    struct State {
        EventList events;
        // How many events at the front of the list an earlier copy contained.
        std::size_t copied = 0;
        // How long their text is.
        std::size_t copiedBytes = 0;
        // Null unless a batch is leaving.
        Batch sending;
    };

    Guarded<State> m_state;
};

} // namespace telvora::detail
