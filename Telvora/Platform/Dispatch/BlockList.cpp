#include <Telvora/Platform/Dispatch/BlockList.h>

#include <Telvora/Base/ForkedChild.h>

#include <memory>
#include <new>
#include <utility>

namespace telvora::detail {

class BlockChunk {
public:
    static constexpr std::size_t bytes = 16 * 1024;
    static constexpr std::size_t capacity = (bytes - alignof(Work)) / sizeof(Work);

    Work& build(std::size_t index) { return *::new (m_slots[index].memory) Work; }
    Work& at(std::size_t index)
    {
        void* const memory = m_slots[index].memory;
        return *std::launder(static_cast<Work*>(memory));
    }

    // The link of the list or of the store.
    BlockChunk* next = nullptr;

private:
    struct Slot {
        alignas(Work) std::byte memory[sizeof(Work)];
    };

    Slot m_slots[capacity];
};

static_assert(sizeof(BlockChunk) <= BlockChunk::bytes);

namespace {

constexpr std::size_t maximumChunksStored = 1024 * 1024 / BlockChunk::bytes;

} // namespace

BlockChunkStore::~BlockChunkStore()
{
    while (m_first)
        delete std::exchange(m_first, m_first->next);
}

BlockChunk* BlockChunkStore::take()
{
    {
        const BriefLockHolder lock(m_lock);
        if (m_first) {
            --m_count;
            return std::exchange(m_first, m_first->next);
        }
    }
    return new BlockChunk;
}

void BlockChunkStore::giveBack(BlockChunk* chunk) noexcept
{
    if (isForkedChild())
        return; // The lock may be held by a thread that does not exist in the child.
    {
        const BriefLockHolder lock(m_lock);
        if (m_count < maximumChunksStored) {
            ++m_count;
            chunk->next = std::exchange(m_first, chunk);
            return;
        }
    }
    delete chunk;
}

std::size_t BlockChunkStore::storedCount()
{
    const BriefLockHolder lock(m_lock);
    return m_count;
}

BlockList::~BlockList()
{
    giveMemoryBack();
}

void BlockList::append(FunctionRef<void(Work&)> make)
{
    if (!m_end.chunk || m_end.index == BlockChunk::capacity)
        addChunk();
    Work& block = m_end.chunk->build(m_end.index);
    try {
        make(block);
    } catch (...) {
        std::destroy_at(&block);
        throw;
    }
    ++m_end.index;
    m_appended.store(m_appended.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

// The removing thread reads the chunk only after a block in it was counted in m_appended.
void BlockList::addChunk()
{
    BlockChunk* const chunk = m_store.take();
    chunk->next = nullptr;
    if (m_end.chunk)
        m_end.chunk->next = chunk;
    else
        m_beginning.store(chunk, std::memory_order_relaxed);
    m_end = { chunk, 0 };
}

Work& BlockList::first()
{
    if (!m_front.chunk) {
        m_front = { m_beginning.load(std::memory_order_relaxed), 0 };
    } else if (m_front.index == BlockChunk::capacity) {
        // A block follows in the next chunk, so the appending thread no longer uses this one.
        BlockChunk* const used = std::exchange(m_front.chunk, m_front.chunk->next);
        m_front.index = 0;
        m_store.giveBack(used);
    }
    return m_front.chunk->at(m_front.index);
}

void BlockList::removeFirst()
{
    std::destroy_at(&m_front.chunk->at(m_front.index));
    ++m_front.index;
    m_removed.store(m_removed.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

void BlockList::giveMemoryBack()
{
    // An empty list has at most two chunks: a used one that first() has not returned, and the last.
    BlockChunk* chunk = m_front.chunk ? m_front.chunk : m_end.chunk;
    while (chunk)
        m_store.giveBack(std::exchange(chunk, chunk->next));
    m_front = {};
    m_end = {};
    m_beginning.store(nullptr, std::memory_order_relaxed);
}

} // namespace telvora::detail
