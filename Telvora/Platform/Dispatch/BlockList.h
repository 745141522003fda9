#pragma once

#include <Telvora/Base/Work.h>
#include <Telvora/Platform/Dispatch/BriefLock.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace telvora::detail {

/// A piece of a block list's memory, with room for some 170 blocks. Blocks are built, run and
/// destroyed in place and never move.
class BlockChunk;

/// Unused chunks, at most a megabyte of them. Chunks beyond that are freed, so the memory of a long
/// backlog returns to the system once its blocks have run.
///
/// Threads: any.
class BlockChunkStore {
public:
    BlockChunkStore() = default;
    ~BlockChunkStore();

    BlockChunkStore(const BlockChunkStore&) = delete;
    BlockChunkStore& operator=(const BlockChunkStore&) = delete;

    /// A stored chunk or a new one. Throws std::bad_alloc.
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
/// Threads: at most one thread appends and at most one removes at a time; the two need no common
/// lock. append() stores m_appended with release after the block and the links to it are written.
/// The removing thread reads appendedCount() with acquire before it uses the block, so it sees
/// them. removeFirst() stores m_removed with release after the block is destroyed; a thread that
/// reads removedCount() with acquire sees all that the block did.
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

    /// Calls `make` with an empty block at the end of the list. Throws std::bad_alloc and whatever
    /// `make` throws; nothing is appended then.
    void append(FunctionRef<void(Work&)> make);

    bool isEmpty() const { return removedCount() == appendedCount(); }

    /// The oldest block. Requires: not isEmpty().
    Work& first();

    /// Destroys the oldest block. Requires: first() was called for it.
    void removeFirst();

    /// Returns all memory to the store. Requires: isEmpty(), and no other thread appends or removes
    /// meanwhile.
    void giveMemoryBack();

    std::uint64_t appendedCount() const { return m_appended.load(std::memory_order_acquire); }
    std::uint64_t removedCount() const { return m_removed.load(std::memory_order_acquire); }

private:
    // A position in the list: a chunk and an index in it.
    struct Place {
        BlockChunk* chunk = nullptr;
        std::size_t index = 0;
    };

    void addChunk();

    BlockChunkStore& m_store;
    // The first chunk of a list that had no memory. Set by append(), read by first().
    std::atomic<BlockChunk*> m_beginning { nullptr };

    // Where the next block is built. Used by the appending thread.
    Place m_end;
    std::atomic<std::uint64_t> m_appended { 0 };

    // The oldest block, on another cache line than m_end. Used by the removing thread.
    alignas(64) Place m_front;
    std::atomic<std::uint64_t> m_removed { 0 };
};

} // namespace telvora::detail
