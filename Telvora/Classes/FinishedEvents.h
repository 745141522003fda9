#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/EventBuilder.h>

#include <cstddef>
#include <string>
#include <vector>

namespace telvora::detail {

/// Destroys the events that the intake is done with, in groups. The host's thread builds the next
/// events in the same arena of malloc. If the queue's thread gave back one event after the other,
/// the two would often wait for the arena's lock; that took a fifth of the processor time of an
/// event from end to end.
///
/// Life: as long as the manager. The last group stays until further events come: less than 256
/// events, usually of less than 256 kB. A dictionary's memory is guessed by its text.
/// Threads: one at a time: barrier blocks of the manager's queue.
/// Failure: the constructor throws std::bad_alloc, nothing else throws.
class FinishedEvents {
public:
    FinishedEvents();

    /// `textBytes` is how long the event's text is. An event in a host's own memory is destroyed at
    /// once: the host may give that memory back.
    void add(Value&& event, std::size_t textBytes) noexcept;
    void add(EventBuilder&& event) noexcept;
    /// An event that was handed over as text.
    void add(std::string&& text) noexcept;

private:
    void count(std::size_t bytes) noexcept;

    std::vector<Value> m_dictionaries;
    std::vector<EventBuilder> m_built;
    std::vector<std::string> m_texts;
    // What all need, roughly.
    std::size_t m_bytes = 0;
};

} // namespace telvora::detail
