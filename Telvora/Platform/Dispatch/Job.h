#pragma once

#include <chrono>

namespace telvora::detail {

/// Something that a worker can run. It contains the link of the pool's lists, so posting it needs
/// no memory and cannot fail. A job is in one list at a time.
struct Job {
    virtual ~Job() = default;

    /// May destroy the job.
    virtual void run() noexcept = 0;

    Job* next = nullptr;
    /// For a delayed job: the earliest time to run it.
    std::chrono::steady_clock::time_point notBefore;
};

/// Jobs, oldest first. Does not own them.
class JobList {
public:
    bool isEmpty() const { return !m_first; }
    Job* first() const { return m_first; }

    void append(Job& job)
    {
        job.next = nullptr;
        (m_first ? m_last->next : m_first) = &job;
        m_last = &job;
    }

    /// Null when the list is empty.
    Job* takeFirst()
    {
        Job* const job = m_first;
        if (job)
            m_first = job->next;
        return job;
    }

private:
    Job* m_first = nullptr;
    Job* m_last = nullptr;
};

} // namespace telvora::detail
