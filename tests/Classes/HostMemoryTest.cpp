#include <tests/Classes/SimulatedHost.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

// A host may build its dictionaries in memory of its own, which it uses on one thread and gives
// back when it is done.

namespace telvora {
namespace {

class HostsMemory final : public boost::json::memory_resource {
public:
    ~HostsMemory() override
    {
        for (auto& [piece, bytes] : m_pieces) {
            std::memset(piece.get(), 0xDD, bytes);
        }
    }

    std::size_t pieces() const { return m_pieces.size(); }

private:
    void* do_allocate(std::size_t bytes, std::size_t) override
    {
        m_pieces.emplace_back(std::make_unique<std::byte[]>(bytes), bytes);
        return m_pieces.back().first.get();
    }
    void do_deallocate(void*, std::size_t, std::size_t) override { }
    bool do_is_equal(const memory_resource& other) const noexcept override
    {
        return this == &other;
    }

    std::vector<std::pair<std::unique_ptr<std::byte[]>, std::size_t>> m_pieces;
};

class HostMemoryTest : public SimulatedHost {
protected:
    static constexpr const char* text = "long enough to need memory of its own";

    Dictionary inHostsMemory() { return Dictionary({ { "text", text } }, memory.get()); }
    static Dictionary inUsualMemory() { return { { "text", text } }; }

    std::unique_ptr<HostsMemory> memory = std::make_unique<HostsMemory>();
};

TEST_F(HostMemoryTest, TheIntakeTakesNothingOfIt)
{
    for (const char* index : { "E2E", "Sentry", "APM" })
        addChannel(index, 2);
    watchEvents();
    simulated().setHold(true);
    manager().enrollE2ETrack(inHostsMemory());
    manager().enrollSentryTrack(inHostsMemory(), false);
    manager().appendTracker(inHostsMemory(), "APM");
    const std::size_t before = memory->pieces();
    simulated().setHold(false);
    simulated().runUntilIdle();

    EXPECT_EQ(memory->pieces(), before);
    EXPECT_EQ(seen.size(), 3u);
}

TEST_F(HostMemoryTest, WhatTheTriggerKeepsIsNotInIt)
{
    addChannel("APM", 2);
    watchEvents();
    manager().appendTracker(inHostsMemory(), "APM");
    simulated().runUntilIdle();
    memory.reset();

    EXPECT_EQ(onlyEvent().event, inUsualMemory());
}

TEST_F(HostMemoryTest, AnEventThatIsKeptWholeIsNotInIt)
{
    const auto config = addChannel("APM", 2);
    Dictionary event = inHostsMemory();
    event["bytes"] = "\xFF";
    manager().appendTracker(std::move(event), "APM");
    simulated().runUntilIdle();
    memory.reset();

    EXPECT_EQ(config->apiDatas().at(0).at("text"), text);
}

TEST_F(HostMemoryTest, ABatchOfTheHostsIsNotInIt)
{
    const Batch batch = makeBatch(inHostsMemory());
    memory.reset();

    EXPECT_EQ(*batch, inUsualMemory());
}

TEST_F(HostMemoryTest, ABatchThatWaitsDoesNotNeedTheCommonDataInIt)
{
    const auto config = addChannel("APM", 1);
    manager().setupCommonDatas(inHostsMemory(), "data", "APM");
    answerAll(failure());
    append("APM", 1);
    manager().setupCommonDatas({}, "data", "APM");
    memory.reset();

    const auto entries = config->retryCache().entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0]->data->at("text"), text);
}

} // namespace
} // namespace telvora
