#pragma once

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Encoder.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/Work.h>
#include <Telvora/Classes/Utils/Arrivals.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace telvora::detail {

/// An event that a list keeps as a tree beside its text, because the text does not say all.
struct WholeEvent {
    /// How many events are in front of it.
    std::size_t position = 0;
    /// Where its text stands in that of the list.
    std::size_t offset = 0;
    std::size_t length = 0;
    std::shared_ptr<const AnyDepth<Value>> event;
    /// Whether JSON can express it.
    bool isEncodable = true;
};

/// An event as text, before a list takes it.
struct EncodedEvent {
    /// Valid until the encoder is used again.
    std::string_view text;
    /// Whether JSON can express the event. If not, the text is null.
    bool isEncodable = true;
    /// Whether the event must be kept beside its text, which would be read as something else.
    bool mustBeKept = false;
};

/// Throws std::bad_alloc.
TELVORA_EXPORT EncodedEvent encodeEvent(const Value& event, Encoder& encoder);

/// Events as text: what a batch contains between the brackets of its event list. An event needs a
/// quarter of the memory of its tree, and a batch is made without encoding anything again.
///
/// An event is also kept as a tree if its text would be read as something else: if it contains text
/// that is not UTF-8, or a number that JSON cannot express, or is nested so deeply that decode()
/// would recurse too far. For one with such a number the text is null, and the list is not
/// encodable.
///
/// Life: empty, and filled by append(). Events are removed at the front or at the end, or all at
/// once. A copy shares the text and does not see what is appended or removed later.
/// Threads: a value without a lock. A copy may be read while the original changes. Only one copy
/// may be appended to.
/// Failure: append() and the functions that return text or values throw std::bad_alloc.
class TELVORA_EXPORT EventList {
public:
    EventList();
    EventList(const EventList&);
    EventList(EventList&&) noexcept;
    EventList& operator=(EventList&&) noexcept;
    ~EventList();

    std::size_t size() const { return m_size; }
    /// The length of the text in bytes.
    std::size_t bytes() const { return m_bytes; }
    /// Whether JSON can express all events.
    bool isEncodable() const { return m_unencodable == 0; }
    std::vector<WholeEvent> wholeEvents() const;
    /// When each event was appended.
    const Arrivals& arrivals() const { return m_arrivals; }

    /// What append() did.
    struct Appended {
        /// How long the event's text is.
        std::size_t bytes = 0;
        /// The event, if the list keeps it as a tree; otherwise null.
        std::shared_ptr<const AnyDepth<Value>> whole;
    };

    /// Appends an event that encodeEvent() has encoded. The event is moved only if the list keeps
    /// it as a tree. If it throws, nothing has changed.
    Appended append(Value&& event, const EncodedEvent& encoded);
    /// Appends an event that need not be kept beside its text.
    Appended append(std::string_view text) { return append(Value(), { .text = text }); }

    /// How long the text of the first event is. Requires: there is one.
    std::size_t firstLength() const;
    /// Calls `use` with the length of the text of each event, from the first on, until that returns
    /// false.
    void forEachLength(FunctionRef<bool(std::size_t length)> use) const;

    /// Removes the first events, of which there are `size`, with a text of `bytes`.
    void removeFirst(std::size_t size, std::size_t bytes) noexcept;
    /// Removes the others.
    void keepFirst(std::size_t size, std::size_t bytes) noexcept;

    /// Appends the text of the events, with commas between them, to `text`.
    void copyTextTo(std::string& text) const;

    /// The events as they were appended.
    Array decoded() const;

private:
    // The text in pieces, so that a long list does not move, and a short one needs little memory.
    struct Chunk {
        std::shared_ptr<char[]> bytes;
        std::size_t capacity = 0;
    };

    void makeRoom(std::size_t bytes);
    void addChunks(std::size_t bytes);
    void add(std::string_view text) noexcept;
    // Calls `use` with the text, piece by piece, until that returns false.
    template<typename Use> void forEachPiece(Use&& use) const
    {
        std::size_t begin = m_begin;
        std::size_t rest = m_bytes;
        for (const Chunk& chunk : m_chunks) {
            const std::size_t length = std::min(rest, chunk.capacity - begin);
            if (!use(std::string_view(chunk.bytes.get() + begin, length)))
                return;
            begin = 0;
            rest -= length;
        }
    }

    std::vector<Chunk> m_chunks;
    // Where the text begins in the first chunk.
    std::size_t m_begin = 0;
    // The first chunk with room, and how much of it is used. All before it are full.
    std::size_t m_current = 0;
    std::size_t m_used = 0;
    std::size_t m_size = 0;
    std::size_t m_bytes = 0;
    Arrivals m_arrivals;

    // How many events were removed at the front, and how long their text was with its commas.
    std::size_t m_removedSize = 0;
    std::size_t m_removedBytes = 0;
    // Their positions and offsets count what was removed. The first ones may be removed, too; they
    // are erased in groups.
    std::vector<WholeEvent> m_wholeEvents;
    std::size_t m_removedWhole = 0;
    std::size_t m_unencodable = 0;
};

/// The events of a list with this text and these whole events. Throws std::bad_alloc.
TELVORA_EXPORT Array decodeEvents(
    std::string_view text, const std::vector<WholeEvent>& wholeEvents);

} // namespace telvora::detail
