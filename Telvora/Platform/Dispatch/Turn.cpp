#include <Telvora/Platform/Dispatch/Turn.h>

#include <Telvora/Base/Fatal.h>
#include <Telvora/Base/ForkedChild.h>

#include <utility>

namespace telvora::detail {

namespace {

// The turns that this thread holds shared, innermost first.
constinit thread_local const SharedTurn* t_shared = nullptr;

// The first of them that was taken before the asynchronous block that runs now.
constinit thread_local const SharedTurn* t_beforeBlock = nullptr;

} // namespace

// Exists while a thread waits for the turn.
class Turn::Waiting {
public:
    explicit Waiting(Turn& turn)
        : m_turn(turn)
        , m_blocked(turn.m_pool)
    {
        if (SharedTurn::isHeld(turn, nullptr))
            turn.refuse();
        m_turn.m_waiting.fetch_add(1, std::memory_order_relaxed);
    }
    ~Waiting() { m_turn.m_waiting.fetch_sub(1, std::memory_order_relaxed); }

    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

private:
    Turn& m_turn;
    const WorkerPool::Blocked m_blocked;
};

Turn::Turn(WorkerPool& pool, std::string label)
    : m_pool(pool)
    , m_label(std::move(label))
{
}

void Turn::refuse() const
{
    fatal("A block of the queue \"" + m_label + "\" waits for its own queue", "Turn");
}

void Turn::takeAlone() TELVORA_NO_THREAD_SAFETY_ANALYSIS
{
    // A mutex must not be asked again by the thread that has it.
    if (isOwn())
        refuse();
    if (!m_mutex.try_lock()) {
        const Waiting waiting(*this);
        m_mutex.lock();
    }
    m_owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
}

bool Turn::tryTakeAlone() TELVORA_NO_THREAD_SAFETY_ANALYSIS
{
    // A mutex must not be asked again by a thread that has it.
    if (isOwn() || SharedTurn::isHeld(*this, nullptr) || !m_mutex.try_lock())
        return false;
    m_owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    return true;
}

void Turn::leaveAlone() TELVORA_NO_THREAD_SAFETY_ANALYSIS
{
    m_owner.store(std::thread::id(), std::memory_order_relaxed);
    m_mutex.unlock();
}

void Turn::takeShared() TELVORA_NO_THREAD_SAFETY_ANALYSIS
{
    if (isOwn())
        refuse();
    if (m_mutex.try_lock_shared())
        return;
    const Waiting waiting(*this);
    m_mutex.lock_shared();
}

void Turn::leaveShared() TELVORA_NO_THREAD_SAFETY_ANALYSIS
{
    m_mutex.unlock_shared();
}

AloneTurn::AloneTurn(Turn& turn)
    : m_turn(turn)
{
    m_turn.takeAlone();
}

AloneTurn::AloneTurn(Turn& turn, Taken)
    : m_turn(turn)
{
}

AloneTurn::~AloneTurn()
{
    if (!isForkedChild())
        m_turn.leaveAlone();
}

SharedTurn::SharedTurn(Turn& turn)
    : m_turn(turn)
    , m_outer(t_shared)
{
    if (isHeld(turn, t_beforeBlock))
        turn.refuse();
    m_turn.takeShared();
    t_shared = this;
}

SharedTurn::~SharedTurn()
{
    t_shared = m_outer;
    if (!isForkedChild())
        m_turn.leaveShared();
}

bool SharedTurn::isHeld(const Turn& turn, const SharedTurn* end)
{
    const SharedTurn* held = t_shared;
    while (held != end && &held->m_turn != &turn)
        held = held->m_outer;
    return held != end;
}

AsynchronousBlocks::AsynchronousBlocks()
    : m_outer(std::exchange(t_beforeBlock, t_shared))
{
}

AsynchronousBlocks::~AsynchronousBlocks()
{
    t_beforeBlock = m_outer;
}

} // namespace telvora::detail
