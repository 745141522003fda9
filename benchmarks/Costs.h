#pragma once

#include <benchmarks/Percentiles.h>

#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

namespace telvora {

/// Measures `call(thing)`, call by call, on `threads` threads at once; `prepare(number)` builds
/// each thing between two calls, which is not timed. Appends the nanoseconds to `costs`.
template<typename Prepare, typename Call>
void measureCalls(int threads, int calls, const Prepare& prepare, const Call& call,
    std::vector<std::int64_t>& costs)
{
    const auto perThread = static_cast<std::size_t>(calls);
    std::vector<std::vector<std::int64_t>> costsOfThreads(static_cast<std::size_t>(threads));
    std::vector<std::thread> running;
    for (std::vector<std::int64_t>& own : costsOfThreads) {
        // Written once before, so that no page fault happens between two calls.
        own.assign(perThread, 0);
        running.emplace_back([&] {
            for (int number = 0; number < calls; ++number) {
                auto thing = prepare(number);
                const std::int64_t start = nanosecondsNow();
                call(std::move(thing));
                own[static_cast<std::size_t>(number)] = nanosecondsNow() - start;
            }
        });
    }
    for (std::thread& thread : running)
        thread.join();
    for (const std::vector<std::int64_t>& own : costsOfThreads)
        costs.insert(costs.end(), own.begin(), own.end());
}

} // namespace telvora
