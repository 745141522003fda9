#include <Telvora/Classes/TrackerRetryCache.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace telvora {
namespace {

constexpr int entryCount = 4'000;
constexpr int threadCount = 4;

// A pop reads and removes in two steps, so two concurrent pops may return one entry and lose
// another one. The ledger counts each lost entry once.
TEST(TrackerRetryCacheStressQuirk, ConcurrentPopsLoseNothingThatTheLedgerDoesNotCount)
{
    std::atomic<int> unseen { 0 };
    std::atomic<int> taken { 0 };
    TrackerRetryCache cache(
        [&](detail::LedgerShare share, DropReason) { unseen += int(share.events); });
    for (int number = 0; number < entryCount; ++number) {
        auto entry = std::make_shared<TrackerRetryData>(makeBatch({ { "n", number } }), 1);
        entry->giveShare({ 1, 1 });
        cache.insert(std::move(entry));
    }

    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&] {
            while (true) {
                const auto [entry, share] = cache.take();
                if (!entry)
                    return;
                taken += int(share.events);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    // Waits for the removals that are still queued.
    EXPECT_FALSE(cache.pop());

    EXPECT_EQ(taken + unseen, entryCount);
    EXPECT_GT(taken, 0);
    EXPECT_EQ(cache.size(), 0u);
}

} // namespace
} // namespace telvora
