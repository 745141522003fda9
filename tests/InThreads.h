#pragma once

#include <functional>
#include <latch>
#include <thread>
#include <vector>

namespace telvora {

/// Runs `body` with the numbers from 0 on, each on a thread of its own; the threads begin at the
/// same time. Waits for all of them.
inline void inThreads(int count, const std::function<void(int)>& body)
{
    std::latch beginning(count);
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&, number] {
            beginning.arrive_and_wait();
            body(number);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace telvora
