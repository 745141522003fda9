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

/// An asynchronous block on its way.
struct alignas(entryAlignment) Block : QueueEntry {
    Work work;

    /// Runs the work and destroys what it captured. What it throws ends here.
    void runWork() noexcept;
};

/// A block with `work` in it, from the calling thread's store of used ones where it has one.
Block& takeBlock(Work&& work);

/// Takes a block back whose work has run.
void giveBack(Block& block) noexcept;

} // namespace telvora
