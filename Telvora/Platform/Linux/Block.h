#pragma once

#include <Telvora/Base/Work.h>
#include <Telvora/Platform/Linux/Job.h>

#include <cstddef>
#include <cstdint>

namespace telvora {

class QueueCore;
struct Block;

/// What waits on a queue's list: an asynchronous block, or a thread with a synchronous one.
enum class EntryKind : std::uint8_t { plain, barrier, waitingPlain, waitingBarrier };

/// A queue keeps the head of its list and its own state in one word, which leaves the low six
/// bits of an entry's address to the state.
constexpr std::size_t entryAlignment = 64;

struct QueueEntry : Job {
    union {
        QueueCore* queue = nullptr;
        /// While the block is out of use.
        Block* nextChain;
    };
    EntryKind kind = EntryKind::plain;
};

/// An asynchronous block on its way. Blocks come in slabs and travel between threads in chains,
/// because memory freed on another thread than the one that took it is most of what a hand-over
/// costs.
struct alignas(entryAlignment) Block : QueueEntry {
    /// Where in its slab it lies.
    std::uint16_t placeInSlab = 0;
    /// How many blocks the chain has whose first one this is, while out of use.
    std::uint32_t chainLength = 0;
    Work work;

    /// Runs the work and destroys what it captured. What it throws ends here.
    void runWork() noexcept;
};

/// A block without work, from the calling thread's store of used ones where it has one.
Block& takeBlock();

/// Takes a block back whose work is gone.
void giveBack(Block& block) noexcept;

} // namespace telvora
