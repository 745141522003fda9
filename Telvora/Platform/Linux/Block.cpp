#include <Telvora/Platform/Linux/Block.h>

#include <atomic>
#include <utility>

namespace telvora {

static_assert(sizeof(Block) == 2 * entryAlignment, "two cache lines for each submission");

namespace {

constexpr std::size_t chainLength = 64;
/// Two megabytes of blocks. A backlog longer than that gives its memory back when it is gone.
constexpr std::size_t keptChains = 256;

/// Full chains that no thread has. Threads that mostly run blocks leave them here for those that
/// mostly submit: memory freed on another thread than the one that took it is what costs most of
/// a hand-over.
class ChainStore {
public:
    bool put(Block& chain) noexcept
    {
        if (m_count.fetch_add(1, std::memory_order_relaxed) >= keptChains) {
            m_count.fetch_sub(1, std::memory_order_relaxed);
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
            m_count.fetch_sub(1, std::memory_order_relaxed);
        return top;
    }

private:
    alignas(64) std::atomic<Block*> m_top { nullptr };
    std::atomic<std::size_t> m_count { 0 };
    std::atomic<bool> m_isTaking { false };
};

constinit ChainStore s_chains;

void destroyChain(Block* chain) noexcept
{
    while (chain)
        delete std::exchange(chain, static_cast<Block*>(chain->next));
}

/// What one thread has of used blocks: one chain in use and at times a full one beside it, so that
/// a thread at the edge between the two does not go to the shared store with every block.
struct ThreadStore {
    Block* chain;
    std::size_t length;
    Block* fullChain;
    /// The thread is ending, or has not yet arranged for its end.
    bool isClosed;
    bool isWatched;
};

// Plain data in the thread's first block of storage: reaching it costs one instruction.
[[gnu::tls_model("initial-exec")]] constinit thread_local ThreadStore t_store {};

/// Empties the thread's store when the thread ends.
struct ThreadEnd {
    ~ThreadEnd()
    {
        t_store.isClosed = true;
        destroyChain(std::exchange(t_store.chain, nullptr));
        t_store.length = 0;
        Block* const full = std::exchange(t_store.fullChain, nullptr);
        if (full && !s_chains.put(*full))
            destroyChain(full);
    }
    void watch() { t_store.isWatched = true; }
};

void watchThreadEnd()
{
    static thread_local ThreadEnd end;
    end.watch();
}

[[gnu::noinline]] Block* refill()
{
    if (t_store.isClosed)
        return new Block;
    if (!t_store.isWatched)
        watchThreadEnd();
    Block* chain = std::exchange(t_store.fullChain, nullptr);
    if (!chain)
        chain = s_chains.take();
    if (!chain)
        return new Block;
    t_store.chain = static_cast<Block*>(chain->next);
    t_store.length = chainLength - 1;
    return chain;
}

[[gnu::noinline]] void setChainAside() noexcept
{
    if (t_store.fullChain && !s_chains.put(*t_store.fullChain))
        destroyChain(t_store.fullChain);
    t_store.fullChain = std::exchange(t_store.chain, nullptr);
    t_store.length = 0;
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

Block& takeBlock(Work&& work)
{
    Block* block = t_store.chain;
    if (block) {
        t_store.chain = static_cast<Block*>(block->next);
        --t_store.length;
    } else {
        block = refill();
    }
    block->work = std::move(work);
    return *block;
}

void giveBack(Block& block) noexcept
{
    if (t_store.isClosed) {
        delete &block;
        return;
    }
    if (!t_store.isWatched)
        watchThreadEnd();
    if (t_store.length == chainLength)
        setChainAside();
    block.next = t_store.chain;
    t_store.chain = &block;
    ++t_store.length;
}

} // namespace telvora
