#pragma once

#include <utility>

namespace telvora {

/// Something that a pool thread can run. Part of the thing itself, so that handing it over costs
/// no allocation; on one list at a time.
struct Job {
    Job* next = nullptr;
    /// May destroy the job.
    void (*run)(Job&) noexcept = nullptr;
};

/// Jobs in the order of their coming. Belongs to one thread or one lock.
class JobList {
public:
    bool isEmpty() const { return !m_first; }
    Job* first() const { return m_first; }

    JobList() = default;
    JobList(JobList&& other) noexcept
        : m_first(std::exchange(other.m_first, nullptr))
        , m_last(other.m_last)
    {
    }
    JobList& operator=(JobList&& other) noexcept
    {
        m_first = std::exchange(other.m_first, nullptr);
        m_last = other.m_last;
        return *this;
    }

    void append(Job& job)
    {
        job.next = nullptr;
        (m_first ? m_last->next : m_first) = &job;
        m_last = &job;
    }

    /// Appends a chain that has its newest job in front, as a lock-free list collects them.
    void appendReversed(Job* newest)
    {
        if (!newest)
            return;
        Job* const last = newest;
        Job* oldest = nullptr;
        while (newest) {
            Job* const older = newest->next;
            newest->next = oldest;
            oldest = newest;
            newest = older;
        }
        (m_first ? m_last->next : m_first) = oldest;
        m_last = last;
    }

    void append(JobList&& other)
    {
        if (other.isEmpty())
            return;
        (m_first ? m_last->next : m_first) = other.m_first;
        m_last = other.m_last;
        other.m_first = nullptr;
    }

    /// Null when there is none.
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

} // namespace telvora
