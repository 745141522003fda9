#pragma once

#include <Telvora/Base/Work.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace telvora {

/// The yardstick of a dispatch queue: the simplest one, a deque under a mutex with one worker,
/// which sleeps whenever it finds no block.
///
/// Life: destroying it runs the blocks that wait. Threads: any.
class MutexAndDequeQueue {
public:
    MutexAndDequeQueue() = default;
    ~MutexAndDequeQueue()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_isEnding = true;
        }
        m_hasWork.notify_one();
        m_worker.join();
    }

    void submit(Work block)
    {
        {
            const std::lock_guard lock(m_mutex);
            m_waiting.push_back(std::move(block));
        }
        m_hasWork.notify_one();
    }

    /// Waits until all blocks have run.
    void finish()
    {
        std::unique_lock lock(m_mutex);
        m_isIdle.wait(lock, [this] { return m_waiting.empty() && !m_isRunning; });
    }

private:
    void work()
    {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_hasWork.wait(lock, [this] { return m_isEnding || !m_waiting.empty(); });
            if (m_waiting.empty())
                return;
            Work block = std::move(m_waiting.front());
            m_waiting.pop_front();
            m_isRunning = true;
            lock.unlock();
            block();
            block.reset();
            lock.lock();
            m_isRunning = false;
            if (m_waiting.empty())
                m_isIdle.notify_all();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_hasWork;
    std::condition_variable m_isIdle;
    std::deque<Work> m_waiting;
    bool m_isRunning = false;
    bool m_isEnding = false;
    std::thread m_worker { [this] { work(); } };
};

} // namespace telvora
