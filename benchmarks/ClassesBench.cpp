// The library's small parts, each beside the standard library's part for the same job. Left out:
// the start of what they use (a queue, a timer's thread).

#include <Telvora/Classes/TrackerRetryCache.h>
#include <Telvora/Classes/Utils/PriorityQueue.h>
#include <Telvora/Classes/Utils/ReadWriteLock.h>
#include <Telvora/Classes/Utils/ReadWriteLockWrapper.h>
#include <Telvora/Classes/Utils/TrackerTimer.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <mutex>
#include <queue>
#include <shared_mutex>
#include <string>
#include <vector>

namespace telvora {
namespace {

struct Before {
    bool operator()(const TrackerRetryEntry& lhs, const TrackerRetryEntry& rhs) const
    {
        return *lhs < *rhs;
    }
};

// All entries differ, so that the standard heap can use the same comparison.
std::vector<TrackerRetryEntry> makeEntries(std::int64_t count)
{
    std::vector<TrackerRetryEntry> entries;
    for (std::int64_t number = 0; number < count; ++number) {
        entries.push_back(std::make_shared<TrackerRetryData>(Batch(), 1 + number % 3));
        entries.back()->timestamp = static_cast<double>((number * 7919) % count);
    }
    return entries;
}

TrackerRetryEntry popFrom(PriorityQueue<TrackerRetryEntry, Before>& queue)
{
    return *queue.pop();
}

using StandardQueue
    = std::priority_queue<TrackerRetryEntry, std::vector<TrackerRetryEntry>, Before>;

TrackerRetryEntry popFrom(StandardQueue& queue)
{
    TrackerRetryEntry first = queue.top();
    queue.pop();
    return first;
}

// Fills an empty heap and empties it again.
template<typename Queue> void fillAndEmpty(benchmark::State& state)
{
    const auto entries = makeEntries(state.range(0));
    for (auto _ : state) {
        Queue queue { Before() };
        for (const TrackerRetryEntry& entry : entries)
            queue.push(entry);
        for (std::size_t left = entries.size(); left > 0; --left) {
            const TrackerRetryEntry first = popFrom(queue);
            benchmark::DoNotOptimize(first.get());
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_PriorityQueue_PushPop(benchmark::State& state)
{
    fillAndEmpty<PriorityQueue<TrackerRetryEntry, Before>>(state);
}

void BM_StdPriorityQueue_PushPop(benchmark::State& state)
{
    fillAndEmpty<StandardQueue>(state);
}

BENCHMARK(BM_PriorityQueue_PushPop)->Arg(10)->Arg(1000)->Arg(100'000);
BENCHMARK(BM_StdPriorityQueue_PushPop)->Arg(10)->Arg(1000)->Arg(100'000);

void BM_ReadWriteLock_Read(benchmark::State& state)
{
    static auto& lock = *new ReadWriteLock;
    static int value = 1;
    for (auto _ : state)
        benchmark::DoNotOptimize(lock.read([] { return value; }));
}

void BM_StdSharedMutex_Read(benchmark::State& state)
{
    static std::shared_mutex mutex;
    static int value = 1;
    for (auto _ : state) {
        std::shared_lock lock(mutex);
        benchmark::DoNotOptimize(value);
    }
}

BENCHMARK(BM_ReadWriteLock_Read)->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(BM_StdSharedMutex_Read)->Threads(1)->Threads(4)->UseRealTime();

// Our write() returns before the write is done; the yardstick writes at once. The last read waits
// for all writes, and its time counts.
void BM_ReadWriteLock_Write(benchmark::State& state)
{
    static auto& lock = *new ReadWriteLock;
    static int value = 0;
    for (auto _ : state)
        lock.write([] { ++value; });
    benchmark::DoNotOptimize(lock.read([] { return value; }));
}

void BM_StdSharedMutex_Write(benchmark::State& state)
{
    static std::shared_mutex mutex;
    static int value = 0;
    for (auto _ : state) {
        std::unique_lock lock(mutex);
        benchmark::DoNotOptimize(++value);
    }
}

BENCHMARK(BM_ReadWriteLock_Write)->UseRealTime();
BENCHMARK(BM_StdSharedMutex_Write)->UseRealTime();

using Shared = std::shared_ptr<const int>;

void BM_LockAtomic_Read(benchmark::State& state)
{
    static auto& value = *new lockAtomic<Shared>(std::make_shared<const int>(1));
    for (auto _ : state)
        benchmark::DoNotOptimize(value.getValue());
}

void BM_StdMutex_Read(benchmark::State& state)
{
    static std::mutex mutex;
    static const Shared value = std::make_shared<const int>(1);
    for (auto _ : state) {
        Shared copied;
        {
            std::lock_guard lock(mutex);
            copied = value;
        }
        benchmark::DoNotOptimize(copied);
    }
}

BENCHMARK(BM_LockAtomic_Read)->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(BM_StdMutex_Read)->Threads(1)->Threads(4)->UseRealTime();

/// Takes a line and does nothing with it.
class SilentLog final : public LogService {
public:
    void loggerInit() override { }
    void log(unsigned, const std::string& message) override { benchmark::DoNotOptimize(message); }
};

/// A line with its text. With several threads the lines are taken in the order of their arrival, so
/// that the processor changes threads with nearly every line.
void BM_QuorvexLog_Line(benchmark::State& state)
{
    if (state.thread_index() == 0) {
        QuorvexLog::setLogService(std::make_shared<SilentLog>());
        QuorvexLog::configLogger();
    }
    for (auto _ : state)
        QuorvexLog::log(QuorvexLog::Category::tracker(), "a line");
}

/// The same text for the same service under a mutex, in any order.
void BM_StdMutex_Line(benchmark::State& state)
{
    static std::mutex mutex;
    static SilentLog service;
    for (auto _ : state) {
        const std::string line = "[" + QuorvexLog::Category::tracker().name + "] a line";
        const std::lock_guard lock(mutex);
        service.log(3, line);
    }
}

BENCHMARK(BM_QuorvexLog_Line)->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(BM_StdMutex_Line)->Threads(1)->Threads(4)->UseRealTime();

void BM_TrackerTimer_Start(benchmark::State& state)
{
    TrackerTimer timer;
    for (auto _ : state)
        timer.start(60, [] {});
    timer.suspend();
}

void BM_TrackerTimer_SuspendResume(benchmark::State& state)
{
    TrackerTimer timer;
    timer.start(60, [] {});
    for (auto _ : state) {
        timer.suspend();
        timer.resume();
    }
    timer.suspend();
}

BENCHMARK(BM_TrackerTimer_Start);
BENCHMARK(BM_TrackerTimer_SuspendResume);

} // namespace
} // namespace telvora
