#pragma once

#include <Telvora/Base/Export.h>

#include <cstdint>
#include <optional>
#include <utility>

namespace telvora {

/// What is dropped where more would be kept than a limit allows.
enum class DropFirst {
    /// Waiting batches as a whole, the one whose upload failed first before the others; then
    /// pending events, in the order of arrival.
    oldest,
    /// The event that arrives, or the batch that comes back after a failure. Where a limit is set
    /// below what is kept: pending events, then waiting batches, the last one first.
    newest,
};

/// How much may be kept in memory, by one channel or by all together: pending events, and batches
/// that wait for their retry. What is in a request counts when it comes back, and what was handed
/// over counts once it is taken in. An event or a batch that is more than a limit by itself is
/// dropped alone; with a limit of 0 that is everything of which the limit counts anything.
///
/// Threads: a value without a lock.
struct Limits {
    /// How many events, pending ones and those of waiting batches. Absent, here and below: any
    /// number.
    std::optional<std::uint64_t> events {};
    /// How many waiting batches.
    std::optional<std::uint64_t> batches {};
    /// Bytes of JSON text: of the pending events, without the commas between them, and of the
    /// waiting batches with their common data. A compressed batch counts as if it were not.
    std::optional<std::uint64_t> bytes {};
    /// What is dropped. Either is counted as DropReason::overLimit.
    DropFirst drop = DropFirst::oldest;

    /// Whether there is any.
    bool areSet() const { return events || batches || bytes; }

    /// Member by member.
    bool operator==(const Limits&) const = default;
};

namespace detail {

/// What limits are about: of an event, of a batch, or of all that a channel keeps.
struct Held {
    std::int64_t events = 0;
    std::int64_t batches = 0;
    std::int64_t bytes = 0;

    Held& operator+=(const Held& other)
    {
        events += other.events;
        batches += other.batches;
        bytes += other.bytes;
        return *this;
    }
    Held& operator-=(const Held& other)
    {
        return *this += { -other.events, -other.batches, -other.bytes };
    }
    bool operator==(const Held&) const = default;
};

/// Of what there is more than limits allow.
struct Excess {
    Excess(const Held& held, const Limits& limits)
        : events(isOver(held.events, limits.events))
        , batches(isOver(held.batches, limits.batches))
        , bytes(isOver(held.bytes, limits.bytes))
    {
    }

    bool isAny() const { return events || batches || bytes; }
    /// Whether there is less of it without `part`.
    bool isEasedWithout(const Held& part) const
    {
        return (events && part.events > 0) || (batches && part.batches > 0)
            || (bytes && part.bytes > 0);
    }

    bool events;
    bool batches;
    bool bytes;

private:
    static bool isOver(std::int64_t held, std::optional<std::uint64_t> limit)
    {
        return limit && std::cmp_greater(held, *limit);
    }
};

} // namespace detail

} // namespace telvora
