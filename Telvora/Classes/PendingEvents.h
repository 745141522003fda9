#pragma once

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Classes/Limits.h>
#include <Telvora/Classes/Utils/Batch.h>
#include <Telvora/Classes/Utils/EventList.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace telvora::detail {

/// What PendingEvents::append() did.
struct AppendedEvent {
    /// How many events the list has now.
    std::size_t size = 0;
    /// How long the event's text is.
    std::size_t bytes = 0;
    /// The event, if the list keeps it as a tree; otherwise null.
    std::shared_ptr<const AnyDepth<Value>> whole {};
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

    /// Puts an event at the end that encodeEvent() has encoded. It is moved only if the list keeps
    /// it as a tree.
    AppendedEvent append(Value&& event, const EncodedEvent& encoded);
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

    // For limits. They are about the events that no copy contained; those that one did are in a
    // request. Where an event is dropped, the copied ones in front of it leave the list, too.

    Held held() const;
    /// When the first one arrived; absent if there is none.
    std::optional<std::uint64_t> firstArrival() const;
    /// Drops the first one. Returns how many were dropped.
    std::int64_t dropFirst();

    struct ArrivedEvent {
        std::uint64_t arrival = 0;
        /// The length of its text.
        std::size_t bytes = 0;
    };
    /// All of them.
    std::vector<ArrivedEvent> arrived() const;
    /// Drops the last ones, of which there are `count`, with texts of `bytes` together.
    void dropLast(std::size_t count, std::size_t bytes);

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
