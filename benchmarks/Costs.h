#pragma once

#include <benchmarks/Percentiles.h>

#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

namespace telvora {

/// What `call(thing)` costs, call by call, on `threads` threads at once; each thing is built by
/// `prepare(number)` between two calls, outside of the timed stretch. Appends to `costs`.
template<typename Prepare, typename Call>
void measureCalls(int threads, int calls, const Prepare& prepare, const Call& call,
    std::vector<std::int64_t>& costs)
{
    const auto perThread = static_cast<std::size_t>(calls);
    std::vector<std::vector<std::int64_t>> costsOfThreads(static_cast<std::size_t>(threads));
    std::vector<std::thread> running;
    for (std::vector<std::int64_t>& own : costsOfThreads) {
        // Written once before, so that no page is met for the first time between two calls.
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
