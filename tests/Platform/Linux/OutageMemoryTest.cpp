#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Telvora.h>

#include <tests/Sanitized.h>

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <limits>
#include <malloc.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace telvora::detail {
namespace {

/// Accepts each request at once. During an outage it keeps them, and accepts them at its end, or
/// fails.
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
        answer(completion, true);
    }

    void beginOutage() TELVORA_EXCLUDES(m_lock)
    {
        const MutexLock lock(m_lock);
        m_isOutage = true;
    }

    /// How many requests it keeps.
    std::size_t kept() TELVORA_EXCLUDES(m_lock)
    {
        const MutexLock lock(m_lock);
        return m_kept.size();
    }

    void endOutage(bool isAccepted = true) TELVORA_EXCLUDES(m_lock)
    {
        Kept kept;
        {
            const MutexLock lock(m_lock);
            m_isOutage = false;
            kept.swap(m_kept);
        }
        for (auto& [request, completion] : kept)
            answer(completion, isAccepted);
    }

private:
    using Kept = std::vector<std::pair<HTTPRequest, Completion>>;

    static void answer(Completion& completion, bool isAccepted)
    {
        if (isAccepted)
            completion(HTTPAnswer { R"({"success":true})", {}, 200 });
        else
            completion(HTTPAnswer { {}, "no connection", 0 });
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
        const Platform& machine = linuxPlatform.services();
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

    /// In portions, so that the queue itself needs little memory.
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

    static std::size_t residentBytes()
    {
        std::ifstream file("/proc/self/statm");
        std::size_t all = 0;
        std::size_t resident = 0;
        file >> all >> resident;
        return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    }

    /// `outage` returns how many bytes were in use during it. What is in use afterwards may be more
    /// than before by a tenth of the memory of the whole process: the queues keep up to a megabyte.
    /// How much of what is free glibc gives back to the system depends on thresholds of its own.
    template<typename Outage> void expectMemoryReturns(Outage outage)
    {
        const std::size_t before = heapBytes();
        const std::size_t process = residentBytes();
        const std::size_t during = outage();
        // A worker may still be giving back what nobody can see any more.
        linuxPlatform.dispatch().waitUntilIdle(std::chrono::steady_clock::time_point::max());
        const std::size_t after = heapBytes();

        if (isSanitized)
            return;
        EXPECT_GT(during, before + std::size_t { 20'000'000 });
        EXPECT_LT(after, before + process / 10);
    }

    static constexpr int events = isSanitized ? 20'000 : 200'000;

    // Never destroyed, as threads of the library may still use them.
    LinuxPlatform& linuxPlatform = *new LinuxPlatform;
    OutageClient& client = *new OutageClient;
};

TEST_F(OutageMemoryTest, MemoryOfBatchesThatAreUnderWayReturns)
{
    const auto channel = addChannel("E2E", 100);
    expectMemoryReturns([&] {
        client.beginOutage();
        const std::int64_t delivered = channel->ledger().events.delivered;
        append(*channel, events);
        // Not the ledger's inFlight, which counts a batch just before it is sent.
        waitUntil([&] { return client.kept() == events / 100; });
        const std::size_t during = heapBytes();
        client.endOutage();
        waitUntil([&] { return channel->ledger().events.delivered == delivered + events; });
        return during;
    });
}

TEST_F(OutageMemoryTest, MemoryOfBatchesThatWaitReturns)
{
    const auto channel = addChannel("E2E", 100);
    expectMemoryReturns([&] {
        client.beginOutage();
        const std::int64_t delivered = channel->ledger().events.delivered;
        append(*channel, events);
        // Not the ledger's inFlight, which counts a batch just before it is sent.
        waitUntil([&] { return client.kept() == events / 100; });
        client.endOutage(false);
        waitUntil([&] { return channel->ledger().events.waiting == events; });
        const std::size_t during = heapBytes();
        // Each lets a batch go that waits.
        constexpr int further = events / 50;
        append(*channel, further);
        waitUntil(
            [&] { return channel->ledger().events.delivered == delivered + events + further; });
        return during;
    });
}

TEST_F(OutageMemoryTest, MemoryOfALongListReturns)
{
    const auto channel = addChannel("MP", std::numeric_limits<std::int64_t>::max());
    expectMemoryReturns([&] {
        const std::int64_t delivered = channel->ledger().events.delivered;
        append(*channel, events);
        const std::size_t during = heapBytes();
        platform().notificationCenter.post(Notification::didEnterBackground);
        waitUntil([&] { return channel->ledger().events.delivered == delivered + events; });
        return during;
    });
}

} // namespace
} // namespace telvora::detail
