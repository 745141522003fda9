#include <Telvora/Platform/Dispatch/Turn.h>

#include <Telvora/Base/Fatal.h>
#include <Telvora/Base/ForkedChild.h>

#include <utility>

namespace telvora::detail {

// Exists while a thread waits for the turn.
class Turn::Waiting {
public:
    explicit Waiting(Turn& turn)
        : m_turn(turn)
        , m_blocked(turn.m_pool)
    {
        if (turn.isOwn())
            fatal("A block of the queue \"" + turn.m_label + "\" waits for its own queue", "Turn");
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

void Turn::takeAlone() TELVORA_NO_THREAD_SAFETY_ANALYSIS
{
    if (!m_mutex.try_lock()) {
        const Waiting waiting(*this);
        m_mutex.lock();
    }
    m_owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
}

void Turn::leaveAlone() TELVORA_NO_THREAD_SAFETY_ANALYSIS
{
    m_owner.store(std::thread::id(), std::memory_order_relaxed);
    m_mutex.unlock();
}

void Turn::takeShared() TELVORA_NO_THREAD_SAFETY_ANALYSIS
{
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

AloneTurn::~AloneTurn()
{
    if (!isForkedChild())
        m_turn.leaveAlone();
}

SharedTurn::SharedTurn(Turn& turn)
    : m_turn(turn)
{
    m_turn.takeShared();
}

SharedTurn::~SharedTurn()
{
    if (!isForkedChild())
        m_turn.leaveShared();
}

} // namespace telvora::detail
