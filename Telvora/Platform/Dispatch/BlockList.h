#pragma once

#include <Telvora/Base/Work.h>
#include <Telvora/Platform/Dispatch/BriefLock.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace telvora::detail {

/// A piece of a block list's memory: room for some 170 blocks that are built, run and destroyed
/// where they are. One allocation for so many, and no block is ever moved.
class BlockChunk;

/// Chunks that no list uses at the moment, at most a megabyte of them: a long backlog gives its
/// memory back to the system when it is gone.
///
/// Threads: any.
class BlockChunkStore {
public:
    BlockChunkStore() = default;
    ~BlockChunkStore();

    BlockChunkStore(const BlockChunkStore&) = delete;
    BlockChunkStore& operator=(const BlockChunkStore&) = delete;

    /// Throws std::bad_alloc where there is none in store and none to be had.
    BlockChunk* take() TELVORA_EXCLUDES(m_lock);
    void giveBack(BlockChunk* chunk) noexcept TELVORA_EXCLUDES(m_lock);

    std::size_t storedCount() TELVORA_EXCLUDES(m_lock);

private:
    BriefLock m_lock;
    BlockChunk* m_first TELVORA_GUARDED_BY(m_lock) = nullptr;
    std::size_t m_count TELVORA_GUARDED_BY(m_lock) = 0;
};

/// The blocks of one queue in the order of their submission.
///
/// Threads: one appends and one removes at a time; who appends need not know of who removes. The
/// two meet in appendedCount(): it is raised, with release, after a block and the way to it are
/// complete; who removes reads it, with acquire, before it goes to the block. In the other
/// direction removedCount() says that a block has run and is destroyed.
class BlockList {
public:
    /// `store` must outlive the list.
    explicit BlockList(BlockChunkStore& store)
        : m_store(store)
    {
    }
    /// Requires: isEmpty().
    ~BlockList();

    BlockList(const BlockList&) = delete;
    BlockList& operator=(const BlockList&) = delete;

    /// Calls `make` with an empty block at the end of the list. What `make` throws reaches the
    /// caller, as does std::bad_alloc; nothing is appended then.
    void append(FunctionRef<void(Work&)> make);

    bool isEmpty() const { return removedCount() == appendedCount(); }

    /// The oldest block. Requires: not isEmpty().
    Work& first();

    /// Destroys the oldest block. Requires: first() was called for it.
    void removeFirst();

    /// Gives the memory back while there is nothing to keep in it. Neither who appends nor who
    /// removes may be at work. Requires: isEmpty().
    void giveMemoryBack();

    std::uint64_t appendedCount() const { return m_appended.load(std::memory_order_acquire); }
    std::uint64_t removedCount() const { return m_removed.load(std::memory_order_acquire); }

private:
    /// A place in the list: a chunk and how many of its blocks lie before.
    struct Place {
        BlockChunk* chunk = nullptr;
        std::size_t index = 0;
    };

    void addChunk();

    BlockChunkStore& m_store;
    /// The chunk with which a list without memory began; set by who appends, taken by who removes.
    std::atomic<BlockChunk*> m_beginning { nullptr };

    /// Where the next block is built. Who appends.
    Place m_end;
    std::atomic<std::uint64_t> m_appended { 0 };

    /// The oldest block, on a cache line away from those who append. Who removes.
    alignas(64) Place m_front;
    std::atomic<std::uint64_t> m_removed { 0 };
};

} // namespace telvora::detail
