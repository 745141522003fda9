// What each optimised part of dispatch gains over the simplest code for the same job.

#include <Telvora/Platform/Dispatch/BlockList.h>
#include <Telvora/Platform/Dispatch/BriefLock.h>
#include <Telvora/Platform/Dispatch/ThreadedDispatch.h>
#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <benchmarks/Costs.h>
#include <benchmarks/MutexAndDequeQueue.h>
#include <benchmarks/SampleEvent.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <malloc.h>
#include <sys/resource.h>

namespace telvora {
namespace {

struct Block {
    long* sum;
    long values[8];

    void operator()() { *sum += values[0]; }
};

// ---- The lock: threads that write small blocks into one ring.

template<typename Lock> void BM_CriticalSection(benchmark::State& state)
{
    const auto threads = static_cast<int>(state.range(0));
    constexpr int blocksOfAThread = 500'000;
    constexpr std::size_t ringSize = 1024;
    const double clockCost = costOfClock();
    std::vector<std::int64_t> costs;
    for (auto _ : state) {
        Lock lock;
        std::vector<Block> ring(ringSize);
        std::size_t written = 0;
        measureCalls(
            threads, blocksOfAThread,
            [](int number) {
                return Block { nullptr, { number } };
            },
            [&](const Block& block) {
                lock.lock();
                ring[written++ % ringSize] = block;
                lock.unlock();
            },
            costs);
        if (written != static_cast<std::size_t>(threads) * blocksOfAThread)
            state.SkipWithError("blocks were lost");
    }
    state.counters["p50_ns"] = percentile(costs, 0.5) - clockCost;
    state.counters["p99_ns"] = percentile(costs, 0.99) - clockCost;
    state.counters["p999_ns"] = percentile(costs, 0.999) - clockCost;
}

void threads(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1)->Arg(4)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK_TEMPLATE(BM_CriticalSection, detail::BriefLock)->Apply(threads);
BENCHMARK_TEMPLATE(BM_CriticalSection, std::mutex)->Apply(threads);

// ---- The list: a number of blocks appended, then run and removed, on one thread.

void BM_BlockList_AppendRun(benchmark::State& state)
{
    detail::BlockChunkStore chunks;
    detail::BlockList list(chunks);
    long sum = 0;
    for (auto _ : state) {
        for (auto count = state.range(0); count > 0; --count)
            list.append([&](Work& place) { place.emplace<Block>(&sum, 1L); });
        while (!list.isEmpty()) {
            list.first()();
            list.removeFirst();
        }
    }
    list.giveMemoryBack();
    state.SetItemsProcessed(sum);
}
BENCHMARK(BM_BlockList_AppendRun)->Arg(100)->Arg(1'000'000);

void BM_Deque_AppendRun(benchmark::State& state)
{
    std::deque<Work> list;
    long sum = 0;
    for (auto _ : state) {
        for (auto count = state.range(0); count > 0; --count)
            list.emplace_back(Block { &sum, { 1 } });
        while (!list.empty()) {
            list.front()();
            list.pop_front();
        }
    }
    state.SetItemsProcessed(sum);
}
BENCHMARK(BM_Deque_AppendRun)->Arg(100)->Arg(1'000'000);

// ---- In place: an event that is built inside the queue, or built and moved there.

/// As large as the intake's block.
struct TakeEvent {
    long* taken;
    Dictionary event;
    std::string index;

    void operator()()
    {
        ++*taken;
        benchmark::DoNotOptimize(event);
    }
};

template<bool isInPlace> void BM_DispatchQueue_Event(benchmark::State& state)
{
    ThreadedDispatch dispatch(detail::startDetachedThread);
    const auto queue = dispatch.makeConcurrentQueue("bench");
    long taken = 0;
    std::vector<std::int64_t> costs;
    const double clockCost = costOfClock();
    for (auto _ : state) {
        measureCalls(
            1, 100'000, makeSampleEvent,
            [&](Dictionary&& event) {
                if constexpr (isInPlace)
                    queue->emplaceBarrier<TakeEvent>(&taken, std::move(event), "E2E");
                else
                    queue->barrierAsync(TakeEvent { &taken, std::move(event), "E2E" });
            },
            costs);
        queue->barrierSync([] {});
    }
    if (taken != static_cast<long>(costs.size()))
        state.SkipWithError("events were lost");
    state.counters["p50_ns"] = percentile(costs, 0.5) - clockCost;
    state.counters["p99_ns"] = percentile(costs, 0.99) - clockCost;
}
BENCHMARK_TEMPLATE(BM_DispatchQueue_Event, true)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_DispatchQueue_Event, false)->Iterations(3)->Unit(benchmark::kMillisecond);

// ---- The short wait of a worker without blocks: a host that submits a block about every 50
// microseconds. What a block costs the submitter, and how often a thread went to sleep and had to
// be woken.

class TelvoraQueue {
public:
    void submit(Work block) { m_queue->barrierAsync(std::move(block)); }
    void finish()
    {
        m_queue->barrierSync([] {});
    }

private:
    ThreadedDispatch m_dispatch { detail::startDetachedThread };
    std::unique_ptr<DispatchQueue> m_queue = m_dispatch.makeConcurrentQueue("bench");
};

long contextSwitches()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_nvcsw;
}

template<typename Queue> void BM_PacedSubmission(benchmark::State& state)
{
    Queue queue;
    long ran = 0;
    std::vector<std::int64_t> costs;
    const double clockCost = costOfClock();
    const long switchesBefore = contextSwitches();
    for (auto _ : state) {
        for (int number = 0; number < 20'000; ++number) {
            const std::int64_t start = nanosecondsNow();
            queue.submit([&ran] { ++ran; });
            const std::int64_t end = nanosecondsNow();
            costs.push_back(end - start);
            while (nanosecondsNow() < end + 50'000) { }
        }
        queue.finish();
    }
    if (ran != static_cast<long>(costs.size()))
        state.SkipWithError("blocks were lost");
    state.counters["p50_ns"] = percentile(costs, 0.5) - clockCost;
    state.counters["p99_ns"] = percentile(costs, 0.99) - clockCost;
    state.counters["sleeps_a_1000"] = 1000.0
        * static_cast<double>(contextSwitches() - switchesBefore)
        / static_cast<double>(costs.size());
}
BENCHMARK_TEMPLATE(BM_PacedSubmission, TelvoraQueue)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_TEMPLATE(BM_PacedSubmission, MutexAndDequeQueue)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// ---- A backlog: a million blocks submitted while the queue's worker is held up, then run. The
// heap bytes of a waiting block, and the time that the blocks take once the worker goes on.

template<typename Queue> void BM_Backlog(benchmark::State& state)
{
    constexpr int blocks = 1'000'000;
    double bytes = 0;
    for (auto _ : state) {
        Queue queue;
        long ran = 0;
        std::promise<void> release;
        queue.submit([held = release.get_future().share()] { held.wait(); });
        const auto before = mallinfo2().uordblks;
        for (int number = 0; number < blocks; ++number)
            queue.submit(Block { &ran, { 1 } });
        bytes = static_cast<double>(mallinfo2().uordblks - before) / blocks;
        const std::int64_t start = nanosecondsNow();
        release.set_value();
        queue.finish();
        state.SetIterationTime(static_cast<double>(nanosecondsNow() - start) / 1e9);
        if (ran != blocks)
            state.SkipWithError("blocks were lost");
    }
    state.counters["bytes_a_block"] = bytes;
}
BENCHMARK_TEMPLATE(BM_Backlog, TelvoraQueue)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();
BENCHMARK_TEMPLATE(BM_Backlog, MutexAndDequeQueue)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

// ---- barrierSync() by four threads at once: how many blocks run on another thread than their
// caller's. Each would be two changes of thread for one line of a log.

void BM_DispatchQueue_BarrierSyncOfFour(benchmark::State& state)
{
    constexpr int blocksOfAThread = 5'000;
    ThreadedDispatch dispatch(detail::startDetachedThread);
    const auto queue = dispatch.makeConcurrentQueue("bench");
    long foreign = 0;
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (int number = 0; number < 4; ++number) {
            threads.emplace_back([&] {
                const auto caller = std::this_thread::get_id();
                for (int block = 0; block < blocksOfAThread; ++block)
                    queue->barrierSync([&] { foreign += std::this_thread::get_id() != caller; });
            });
        }
        for (std::thread& thread : threads)
            thread.join();
    }
    state.counters["foreign"] = static_cast<double>(foreign);
}
BENCHMARK(BM_DispatchQueue_BarrierSyncOfFour)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace
} // namespace telvora
