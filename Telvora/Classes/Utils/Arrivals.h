#pragma once

#include <Telvora/Base/Export.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace telvora::detail {

/// The next number in the order in which events and failed batches of all channels arrive; from 1.
/// Threads: any.
TELVORA_EXPORT std::uint64_t nextArrival() noexcept;

/// The arrival numbers of the events in one list, in rising order. Numbers that follow each other
/// are kept as one run, so that a channel that is alone in getting events needs next to nothing.
///
/// Threads: a value without a lock.
class TELVORA_EXPORT Arrivals {
public:
    /// Makes room for one add(). Throws std::bad_alloc.
    void makeRoom();
    /// `arrival` is higher than all before. Requires: makeRoom() was called.
    void add(std::uint64_t arrival) noexcept;

    /// The number of the event at `position`. Requires: there is one.
    std::uint64_t operator[](std::size_t position) const;
    /// Calls `use` with each number, in rising order.
    template<typename Use> void forEach(Use&& use) const
    {
        for (const Run& run : m_runs) {
            for (std::size_t place = 0; place < run.count; ++place)
                use(run.first + place);
        }
    }

    void removeFirst(std::size_t count) noexcept;
    void removeLast(std::size_t count) noexcept;

private:
    struct Run {
        std::uint64_t first = 0;
        std::size_t count = 0;
    };

    std::vector<Run> m_runs;
    // How many runs at the front are empty; they are erased in groups. The last run is never empty.
    std::size_t m_removed = 0;
};

} // namespace telvora::detail
