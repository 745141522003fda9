// Throughput and single costs of dispatch with small payloads, each beside the simplest code for
// the same job.

#include <Telvora/Platform/Dispatch/ThreadedDispatch.h>
#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <benchmarks/Percentiles.h>

#include <benchmark/benchmark.h>
#include <concurrentqueue/concurrentqueue.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

namespace telvora {
namespace {

/// 72 bytes, as large as the intake's block.
struct Captures {
    long* sum;
    long values[8];
};

ThreadedDispatch& dispatch()
{
    static ThreadedDispatch& dispatch = *new ThreadedDispatch(detail::startDetachedThread);
    return dispatch;
}

/// Submission while a worker runs the queue, as fast as the threads can. The clock stops after the
/// last block has run.
void BM_DispatchQueue_BarrierAsync(benchmark::State& state)
{
    static std::unique_ptr<DispatchQueue> queue;
    static long sum = 0;
    if (state.thread_index() == 0) {
        queue = dispatch().makeConcurrentQueue("bench");
        sum = 0;
    }
    const Captures captures { &sum, { 1 } };
    for (auto _ : state)
        queue->barrierAsync([captures] { *captures.sum += captures.values[0]; });
    queue->sync([] {});
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0)
        benchmark::DoNotOptimize(sum);
}
BENCHMARK(BM_DispatchQueue_BarrierAsync)->Threads(1)->Threads(4)->UseRealTime();

void BM_Moodycamel_Enqueue(benchmark::State& state)
{
    using Queue = moodycamel::ConcurrentQueue<Captures>;
    static std::unique_ptr<Queue> queue;
    static std::atomic<bool> isEnding;
    static std::thread consumer;
    if (state.thread_index() == 0) {
        queue = std::make_unique<Queue>();
        isEnding = false;
        consumer = std::thread([] {
            std::vector<Captures> batch(256);
            for (;;) {
                const bool isLast = isEnding;
                const auto count = queue->try_dequeue_bulk(batch.begin(), batch.size());
                for (std::size_t i = 0; i < count; ++i)
                    *batch[i].sum += batch[i].values[0];
                if (count == 0 && isLast)
                    return;
                if (count == 0)
                    std::this_thread::sleep_for(std::chrono::microseconds(250));
            }
        });
    }
    static long sum = 0;
    const Captures captures { &sum, { 1 } };
    for (auto _ : state)
        queue->enqueue(captures);
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0) {
        isEnding = true;
        consumer.join();
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(BM_Moodycamel_Enqueue)->Threads(1)->Threads(4)->UseRealTime();

void BM_MutexAndVector_Push(benchmark::State& state)
{
    static std::mutex mutex;
    static std::vector<Captures> waiting;
    static std::atomic<bool> isEnding;
    static std::thread consumer;
    static long sum = 0;
    if (state.thread_index() == 0) {
        isEnding = false;
        consumer = std::thread([] {
            std::vector<Captures> batch;
            for (;;) {
                const bool isLast = isEnding;
                batch.clear();
                {
                    std::lock_guard lock(mutex);
                    std::swap(batch, waiting);
                }
                for (const Captures& captures : batch)
                    *captures.sum += captures.values[0];
                if (batch.empty() && isLast)
                    return;
                if (batch.empty())
                    std::this_thread::sleep_for(std::chrono::microseconds(250));
            }
        });
    }
    const Captures captures { &sum, { 1 } };
    for (auto _ : state) {
        std::lock_guard lock(mutex);
        waiting.push_back(captures);
    }
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0) {
        isEnding = true;
        consumer.join();
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(BM_MutexAndVector_Push)->Threads(1)->Threads(4)->UseRealTime();

void BM_DispatchQueue_SyncRead(benchmark::State& state)
{
    const auto queue = dispatch().makeConcurrentQueue("bench");
    long value = 0;
    for (auto _ : state) {
        queue->sync([&] { benchmark::DoNotOptimize(value); });
    }
}
BENCHMARK(BM_DispatchQueue_SyncRead);

void BM_SharedMutex_Read(benchmark::State& state)
{
    std::shared_mutex mutex;
    long value = 0;
    for (auto _ : state) {
        std::shared_lock lock(mutex);
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(BM_SharedMutex_Read);

/// One thread writes and reads what it wrote, from outside the pool.
void BM_DispatchQueue_BarrierThenSync(benchmark::State& state)
{
    const auto queue = dispatch().makeConcurrentQueue("bench");
    long value = 0;
    for (auto _ : state) {
        queue->barrierAsync([&] { ++value; });
        queue->sync([&] { benchmark::DoNotOptimize(value); });
    }
}
BENCHMARK(BM_DispatchQueue_BarrierThenSync);

/// The same on a pool thread, inside a barrier of another queue: what every event does.
void BM_DispatchQueue_SyncThenBarrierInABlock(benchmark::State& state)
{
    const auto outer = dispatch().makeConcurrentQueue("outer");
    const auto inner = dispatch().makeConcurrentQueue("inner");
    long value = 0;
    std::promise<void> ended;
    outer->barrierAsync([&] {
        for (auto _ : state) {
            inner->sync([&] { benchmark::DoNotOptimize(value); });
            inner->barrierAsync([&] { ++value; });
        }
        ended.set_value();
    });
    ended.get_future().wait();
}
BENCHMARK(BM_DispatchQueue_SyncThenBarrierInABlock);

void BM_SharedMutex_ReadThenWrite(benchmark::State& state)
{
    std::shared_mutex mutex;
    long value = 0;
    for (auto _ : state) {
        {
            std::shared_lock lock(mutex);
            benchmark::DoNotOptimize(value);
        }
        std::unique_lock lock(mutex);
        ++value;
    }
}
BENCHMARK(BM_SharedMutex_ReadThenWrite);

/// The time from a submission to an idle queue, while all threads sleep, to the start of its block.
void BM_DispatchQueue_IdleSubmission(benchmark::State& state)
{
    const auto queue = dispatch().makeConcurrentQueue("bench");
    std::vector<std::int64_t> callers;
    std::vector<std::int64_t> latencies;
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        std::promise<std::int64_t> began;
        const std::int64_t start = nanosecondsNow();
        queue->barrierAsync([&] { began.set_value(nanosecondsNow()); });
        callers.push_back(nanosecondsNow() - start);
        latencies.push_back(began.get_future().get() - start);
    }
    state.counters["caller_p50_ns"] = percentile(callers, 0.5);
    state.counters["latency_p50_ns"] = percentile(latencies, 0.5);
    state.counters["latency_p99_ns"] = percentile(latencies, 0.99);
}
BENCHMARK(BM_DispatchQueue_IdleSubmission)->Iterations(300)->Unit(benchmark::kMillisecond);

void BM_ConditionVariable_IdleSubmission(benchmark::State& state)
{
    std::mutex mutex;
    std::condition_variable condition;
    std::vector<std::promise<std::int64_t>*> waiting;
    bool isEnding = false;
    std::thread consumer([&] {
        std::unique_lock lock(mutex);
        for (;;) {
            condition.wait(lock, [&] { return isEnding || !waiting.empty(); });
            if (isEnding)
                return;
            for (std::promise<std::int64_t>* began : waiting)
                began->set_value(nanosecondsNow());
            waiting.clear();
        }
    });
    std::vector<std::int64_t> callers;
    std::vector<std::int64_t> latencies;
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        std::promise<std::int64_t> began;
        const std::int64_t start = nanosecondsNow();
        {
            std::lock_guard lock(mutex);
            waiting.push_back(&began);
        }
        condition.notify_one();
        callers.push_back(nanosecondsNow() - start);
        latencies.push_back(began.get_future().get() - start);
    }
    {
        std::lock_guard lock(mutex);
        isEnding = true;
    }
    condition.notify_one();
    consumer.join();
    state.counters["caller_p50_ns"] = percentile(callers, 0.5);
    state.counters["latency_p50_ns"] = percentile(latencies, 0.5);
    state.counters["latency_p99_ns"] = percentile(latencies, 0.99);
}
BENCHMARK(BM_ConditionVariable_IdleSubmission)->Iterations(300)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace telvora

BENCHMARK_MAIN();
