#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Telvora.h>

#include <tests/Sanitized.h>

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <malloc.h>
#include <thread>
#include <utility>
#include <vector>

namespace telvora::detail {
namespace {

/// Accepts each request at once. During an outage it keeps them, and accepts them at its end.
class OutageClient final : public HTTPClient {
public:
    void send(HTTPRequest request, Completion completion) override TELVORA_EXCLUDES(m_lock)
    {
        {
            const MutexLock lock(m_lock);
            if (m_isOutage) {
                m_kept.emplace_back(std::move(request), std::move(completion));
                return;
            }
        }
        accept(completion);
    }

    void beginOutage() TELVORA_EXCLUDES(m_lock)
    {
        const MutexLock lock(m_lock);
        m_isOutage = true;
    }

    void endOutage() TELVORA_EXCLUDES(m_lock)
    {
        Kept kept;
        {
            const MutexLock lock(m_lock);
            m_isOutage = false;
            kept.swap(m_kept);
        }
        for (auto& [request, completion] : kept)
            accept(completion);
    }

private:
    using Kept = std::vector<std::pair<HTTPRequest, Completion>>;

    static void accept(Completion& completion)
    {
        completion(HTTPAnswer { R"({"success":true})", {}, 200 });
    }

    Mutex m_lock;
    bool m_isOutage TELVORA_GUARDED_BY(m_lock) = false;
    Kept m_kept TELVORA_GUARDED_BY(m_lock);
};

/// The Linux platform with an OutageClient, on its real threads.
class OutageMemoryTest : public testing::Test {
protected:
    OutageMemoryTest()
    {
        const Platform& machine = (new LinuxPlatform)->services();
        installPlatform(*new Platform { machine.application, machine.bundle, machine.clock,
            machine.device, machine.dispatch, machine.fileManager, client, machine.lifeCycleChecker,
            machine.notificationCenter, machine.reachability, machine.screens, machine.telephony,
            machine.uuids });
        TrackerManager::start();
    }

    std::shared_ptr<TrackerConfig> addChannel(const std::string& index, std::int64_t limit)
    {
        auto channel = std::make_shared<TrackerConfig>(index, limit, StringDictionary(), Array(),
            false, [] { return std::string("http://collector.example/"); });
        TrackerManager::shared().register_(channel);
        return channel;
    }

    /// In portions, so that the queue holds as much memory before as after.
    static void append(TrackerConfig& channel, int count)
    {
        constexpr int portion = 100;
        std::int64_t accepted = channel.ledger().events.accepted;
        for (int number = 0; number < count; ++number) {
            EventBuilder event(6);
            event.set("name", "order.submit").set("number", number).set("price", 104.25);
            event.set("venue", "an exchange with a longer name").set("side", "sell");
            TrackerManager::shared().appendTracker(std::move(event), channel.index());
            if (number % portion == portion - 1 || number == count - 1)
                waitUntil(
                    [&] { return channel.ledger().events.accepted == accepted + number + 1; });
        }
    }

    template<typename Condition> static void waitUntil(Condition isMet)
    {
        while (!isMet())
            std::this_thread::yield();
    }

    static std::size_t heapBytes()
    {
        const auto heap = ::mallinfo2();
        return heap.uordblks + heap.hblkhd;
    }

    /// Runs a short outage and a long one. The first brings the caches of malloc to their size.
    template<typename Outage> void expectMemoryReturns(Outage outage)
    {
        outage(shortOutage);
        const std::size_t before = heapBytes();
        const std::size_t during = outage(longOutage);
        const std::size_t after = heapBytes();

        if (isSanitized)
            return;
        EXPECT_GT(during, before + std::size_t { 20'000'000 });
        EXPECT_LT(after, before + before / 10);
    }

    // Whole batches and whole groups of finished events, so that no rest differs.
    static constexpr int shortOutage = 3 * 6'400;
    static constexpr int longOutage = (isSanitized ? 4 : 32) * 6'400;

    // Never destroyed, as threads of the library may still use it.
    OutageClient& client = *new OutageClient;
};

TEST_F(OutageMemoryTest, MemoryOfBatchesThatAreUnderWayReturns)
{
    const auto channel = addChannel("E2E", 100);
    expectMemoryReturns([&](int events) {
        client.beginOutage();
        const std::int64_t delivered = channel->ledger().events.delivered;
        append(*channel, events);
        waitUntil([&] { return channel->ledger().events.inFlight == events; });
        const std::size_t during = heapBytes();
        client.endOutage();
        waitUntil([&] { return channel->ledger().events.delivered == delivered + events; });
        return during;
    });
}

TEST_F(OutageMemoryTest, MemoryOfALongListReturns)
{
    const auto channel = addChannel("MP", std::numeric_limits<std::int64_t>::max());
    expectMemoryReturns([&](int events) {
        const std::int64_t delivered = channel->ledger().events.delivered;
        append(*channel, events);
        const std::size_t during = heapBytes();
        platform().notificationCenter.post(Notification::didEnterBackground);
        waitUntil([&] { return channel->ledger().events.delivered == delivered + events; });
        waitUntil([&] { return channel->apiDatas().empty(); });
        return during;
    });
}

} // namespace
} // namespace telvora::detail
