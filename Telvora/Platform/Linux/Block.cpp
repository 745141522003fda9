#include <Telvora/Platform/Linux/Block.h>

#include <array>
#include <atomic>
#include <utility>

namespace telvora {

static_assert(sizeof(Block) == 2 * entryAlignment, "two cache lines for each submission");

namespace {

/// Blocks that are taken from the system together and given back together, so that fewer than one
/// submission in a hundred pays for memory, page faults included.
struct alignas(Block) SlabHead {
    std::atomic<std::size_t> discarded { 0 };
};

struct Slab {
    static constexpr std::size_t length = 128;

    SlabHead head;
    std::array<Block, length> blocks;

    Slab()
    {
        for (std::size_t place = 0; place < length; ++place) {
            blocks[place].placeInSlab = static_cast<std::uint16_t>(place);
            blocks[place].next = place + 1 < length ? &blocks[place + 1] : nullptr;
        }
    }

    static Slab& of(Block& block)
    {
        void* const head = reinterpret_cast<SlabHead*>(&block - block.placeInSlab) - 1;
        return *static_cast<Slab*>(head);
    }
};

static_assert(sizeof(Slab) == sizeof(SlabHead) + Slab::length * sizeof(Block));

/// The longest chain that a thread builds before it starts another.
constexpr std::uint32_t fullChain = 128;
/// Two megabytes in store. A backlog longer than that gives its memory back when it is gone.
constexpr std::size_t mostStored = 16384;

Block* nextOf(const Block& block)
{
    return static_cast<Block*>(block.next);
}

void discard(Block& block) noexcept
{
    Slab& slab = Slab::of(block);
    if (slab.head.discarded.fetch_add(1, std::memory_order_acq_rel) + 1 == Slab::length)
        delete &slab;
}

void discardChain(Block* chain) noexcept
{
    while (chain) {
        Block& first = *std::exchange(chain, nextOf(*chain));
        discard(first);
    }
}

/// Chains that no thread has.
class ChainStore {
public:
    bool put(Block& chain) noexcept
    {
        const std::size_t length = chain.chainLength;
        if (m_stored.fetch_add(length, std::memory_order_relaxed) >= mostStored) {
            m_stored.fetch_sub(length, std::memory_order_relaxed);
            return false;
        }
        chain.nextChain = m_top.load(std::memory_order_relaxed);
        while (!m_top.compare_exchange_weak(
            chain.nextChain, &chain, std::memory_order_release, std::memory_order_relaxed)) { }
        return true;
    }

    /// One taker at a time, so that the chain it sees on top cannot leave and come back under its
    /// hands. A second one does without rather than wait.
    Block* take() noexcept
    {
        if (!m_top.load(std::memory_order_relaxed)
            || m_isTaking.exchange(true, std::memory_order_acquire))
            return nullptr;
        Block* top = m_top.load(std::memory_order_acquire);
        while (top
            && !m_top.compare_exchange_weak(
                top, top->nextChain, std::memory_order_acquire, std::memory_order_acquire)) { }
        m_isTaking.store(false, std::memory_order_release);
        if (top)
            m_stored.fetch_sub(top->chainLength, std::memory_order_relaxed);
        return top;
    }

private:
    alignas(64) std::atomic<Block*> m_top { nullptr };
    std::atomic<std::size_t> m_stored { 0 };
    std::atomic<bool> m_isTaking { false };
};

constinit ChainStore s_chains;

/// What one thread has of used blocks: one chain in use and at times a full one beside it, so that
/// a thread at the edge between the two does not go to the shared store with every block.
struct ThreadStore {
    Block* chain;
    std::uint32_t length;
    Block* spareChain;
    /// Whether the end of the thread will empty the store; once it has, nothing is kept any more.
    bool isWatched;
    bool isClosed;
};

// Plain data in the thread's first block of storage: reaching it costs one instruction.
[[gnu::tls_model("initial-exec")]] constinit thread_local ThreadStore t_store {};

void storeChain(Block* chain, std::uint32_t length) noexcept
{
    if (!chain)
        return;
    chain->chainLength = length;
    if (!s_chains.put(*chain))
        discardChain(chain);
}

/// Empties the thread's store when the thread ends.
struct ThreadEnd {
    ~ThreadEnd()
    {
        t_store.isClosed = true;
        storeChain(std::exchange(t_store.chain, nullptr), std::exchange(t_store.length, 0));
        storeChain(std::exchange(t_store.spareChain, nullptr), fullChain);
    }
    void watch() { t_store.isWatched = true; }
};

void watchThreadEnd()
{
    static thread_local ThreadEnd end;
    end.watch();
}

/// Only when the thread has no chain in use.
[[gnu::noinline]] Block& takeFromNewChain()
{
    Block* chain = std::exchange(t_store.spareChain, nullptr);
    std::uint32_t length = fullChain;
    if (!chain) {
        chain = s_chains.take();
        if (chain)
            length = chain->chainLength;
    }
    if (!chain) {
        chain = (new Slab)->blocks.data();
        length = Slab::length;
    }
    if (t_store.isClosed) {
        storeChain(nextOf(*chain), length - 1);
    } else {
        if (!t_store.isWatched)
            watchThreadEnd();
        t_store.chain = nextOf(*chain);
        t_store.length = length - 1;
    }
    return *chain;
}

[[gnu::noinline]] void giveBackSlowly(Block& block) noexcept
{
    if (t_store.isClosed) {
        block.next = nullptr;
        storeChain(&block, 1);
        return;
    }
    if (!t_store.isWatched)
        watchThreadEnd();
    if (t_store.length >= fullChain) {
        storeChain(t_store.spareChain, fullChain);
        t_store.spareChain = std::exchange(t_store.chain, nullptr);
        t_store.length = 0;
    }
    block.next = t_store.chain;
    t_store.chain = &block;
    ++t_store.length;
}

} // namespace

void Block::runWork() noexcept
{
    try {
        work();
    } catch (...) {
        // Nobody waits for the block, so nobody can be told.
    }
    work.reset();
}

Block& takeBlock()
{
    Block* const block = t_store.chain;
    if (!block)
        return takeFromNewChain();
    Block* const next = nextOf(*block);
    t_store.chain = next;
    --t_store.length;
    // The next one was last touched by the thread that ran it. It has until the next submission to
    // come over.
    if (next) {
        __builtin_prefetch(next, 1);
        __builtin_prefetch(reinterpret_cast<char*>(next) + entryAlignment, 1);
    }
    return *block;
}

void giveBack(Block& block) noexcept
{
    if (t_store.length >= fullChain || !t_store.isWatched || t_store.isClosed) {
        giveBackSlowly(block);
        return;
    }
    block.next = t_store.chain;
    t_store.chain = &block;
    ++t_store.length;
}

} // namespace telvora
