#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Telvora.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace telvora {
namespace {

// Threads hand over events, change limits and put batches into the cache and take them out again,
// while uploads fail on other threads.
TEST(LimitsStressTest, WhateverThreadsDoNoLimitIsBrokenAtTheEnd)
{
    constexpr int eventCount = 3'000;
    installPlatform((new LinuxPlatform)->services());
    TrackerManager& manager = TrackerManager::shared();
    std::vector<std::shared_ptr<TrackerConfig>> channels;
    for (const char* index : { "a", "b", "c" }) {
        // Nobody listens there.
        channels.push_back(std::make_shared<TrackerConfig>(index, 10, StringDictionary(), Array(),
            false, [] { return std::string("http://127.0.0.1:1/"); }));
        manager.register_(channels.back());
    }

    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&, thread] {
            const auto& channel = channels[thread];
            for (int number = 0; number < eventCount; ++number)
                manager.appendTracker({ { "number", number } }, channel->index());
        });
    }
    threads.emplace_back([&] {
        std::mt19937 random(5);
        for (int step = 0; step < 300; ++step) {
            const DropFirst drop = random() % 2 == 0 ? DropFirst::oldest : DropFirst::newest;
            const Limits limits { .events = random() % 50, .bytes = random() % 3000, .drop = drop };
            channels[random() % 3]->setLimits(limits);
            TrackerManager::setLimits(limits);
            const auto& channel = channels[random() % 3];
            channel->insert(std::make_shared<TrackerRetryData>(makeBatch(Dictionary()), 1));
            channel->insert(channel->popRetryData());
        }
    });
    for (std::thread& thread : threads)
        thread.join();
    TrackerManager::setLimits({ .events = 12 });
    for (const auto& channel : channels)
        channel->setLimits({ .events = 9, .drop = DropFirst::newest });

    // Posts everything, and waits for the answers.
    const FlushResult result = TrackerManager::flush(std::chrono::minutes(5)).value();
    EXPECT_TRUE(result.atRest);
    EXPECT_LE(result.left, 12);
    for (const auto& channel : channels) {
        const LedgerSnapshot ledger = channel->ledger();
        EXPECT_EQ(ledger.events.accepted, eventCount);
        EXPECT_EQ(ledger.events.accepted, ledger.events.accountedFor());
        EXPECT_EQ(ledger.batches.accepted, ledger.batches.accountedFor());
        EXPECT_LE(ledger.events.pending + ledger.events.waiting, 9);
        EXPECT_GT(ledger.events.dropped.overLimit, 0);
    }
}

} // namespace
} // namespace telvora
