// The cost of one submission for the calling thread, call by call: a host builds an event, hands it
// over and goes on. The consumer takes the event and destroys it. Left out: building the event, and
// the cost of reading the clock, which is measured and subtracted.
//
// The yardsticks move the same payload into moodycamel's queue, whose consumer polls every 250 µs,
// and, as a block, into a deque under a mutex, whose one worker sleeps on a condition variable.

#include <Telvora/Platform/Dispatch/ThreadedDispatch.h>
#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <benchmarks/MutexAndDequeQueue.h>
#include <benchmarks/Percentiles.h>
#include <benchmarks/SampleEvent.h>

#include <benchmark/benchmark.h>
#include <concurrentqueue/concurrentqueue.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace telvora {
namespace {

constexpr int eventsOfAThread = 100'000;

/// As large as the intake's block: the event, its channel's index, the manager.
struct Payload {
    Dictionary event;
    std::string index;
    void* manager = nullptr;
};

class DispatchContender {
public:
    void submit(Payload&& payload) { m_queue->emplaceBarrier<Take>(*this, std::move(payload)); }
    long finish()
    {
        m_queue->barrierSync([] {});
        return m_taken;
    }

private:
    struct Take {
        DispatchContender& contender;
        Payload payload;

        void operator()()
        {
            ++contender.m_taken;
            benchmark::DoNotOptimize(payload.event);
        }
    };

    ThreadedDispatch m_dispatch { detail::startDetachedThread };
    std::unique_ptr<DispatchQueue> m_queue = m_dispatch.makeConcurrentQueue("bench");
    long m_taken = 0;
};

/// Runs `take` every 250 µs until it is told to end, and once more then.
class PollingConsumer {
public:
    explicit PollingConsumer(std::function<long()> take)
        : m_thread([this, take = std::move(take)] {
            while (!m_isEnding) {
                m_taken += take();
                std::this_thread::sleep_for(std::chrono::microseconds(250));
            }
            m_taken += take();
        })
    {
    }
    long finish()
    {
        m_isEnding = true;
        m_thread.join();
        return m_taken;
    }

private:
    std::atomic<bool> m_isEnding { false };
    long m_taken = 0;
    std::thread m_thread;
};

class MoodycamelContender {
public:
    void submit(Payload&& payload) { m_queue.enqueue(std::move(payload)); }
    long finish() { return m_consumer.finish(); }

private:
    long take()
    {
        long taken = 0;
        std::vector<Payload> batch(64);
        while (const auto count = m_queue.try_dequeue_bulk(batch.begin(), batch.size()))
            taken += static_cast<long>(count);
        return taken;
    }

    moodycamel::ConcurrentQueue<Payload> m_queue;
    PollingConsumer m_consumer { [this] { return take(); } };
};

class MutexAndDequeContender {
public:
    void submit(Payload&& payload)
    {
        m_queue.submit([this, payload = std::move(payload)]() mutable {
            ++m_taken;
            benchmark::DoNotOptimize(payload.event);
        });
    }
    long finish()
    {
        m_queue.finish();
        return m_taken;
    }

private:
    long m_taken = 0;
    MutexAndDequeQueue m_queue;
};

template<typename Contender>
void submitAndMeasure(Contender& contender, std::vector<std::int64_t>& costs)
{
    for (int number = 0; number < eventsOfAThread; ++number) {
        Payload payload { makeSampleEvent(number), "e2e", nullptr };
        const std::int64_t start = nanosecondsNow();
        contender.submit(std::move(payload));
        costs.push_back(nanosecondsNow() - start);
    }
}

template<typename Contender> void BM_SubmissionCost(benchmark::State& state)
{
    const auto producers = static_cast<std::size_t>(state.range(0));
    const double clockCost = costOfClock();
    std::vector<std::int64_t> costs;
    for (auto _ : state) {
        Contender contender;
        std::vector<std::vector<std::int64_t>> costsOfThreads(producers);
        std::vector<std::thread> threads;
        for (std::vector<std::int64_t>& own : costsOfThreads) {
            own.reserve(eventsOfAThread);
            threads.emplace_back([&] { submitAndMeasure(contender, own); });
        }
        for (std::thread& thread : threads)
            thread.join();
        if (contender.finish() != static_cast<long>(producers) * eventsOfAThread)
            state.SkipWithError("events were lost");
        for (const std::vector<std::int64_t>& own : costsOfThreads)
            costs.insert(costs.end(), own.begin(), own.end());
    }
    state.counters["p50_ns"] = percentile(costs, 0.5) - clockCost;
    state.counters["p99_ns"] = percentile(costs, 0.99) - clockCost;
    state.counters["p999_ns"] = percentile(costs, 0.999) - clockCost;
}

void producers(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1)->Arg(4)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK_TEMPLATE(BM_SubmissionCost, MoodycamelContender)->Apply(producers);
BENCHMARK_TEMPLATE(BM_SubmissionCost, DispatchContender)->Apply(producers);
BENCHMARK_TEMPLATE(BM_SubmissionCost, MutexAndDequeContender)->Apply(producers);

} // namespace
} // namespace telvora
