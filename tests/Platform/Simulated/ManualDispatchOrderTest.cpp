#include <Telvora/Platform/Simulated/ManualDispatch.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace telvora {
namespace {

using namespace std::chrono_literals;

/// One run with one seed.
class SeededRun {
public:
    explicit SeededRun(std::uint64_t seed)
        : m_dispatch(m_clock, seed)
    {
    }

    ManualDispatch& dispatch() { return m_dispatch; }
    DispatchQueue& queue() { return *m_queue; }
    DispatchQueue& other() { return *m_other; }

    Work say(char word)
    {
        return [this, word] { said += word; };
    }

    std::string said;

private:
    ManualClock m_clock;
    ManualDispatch m_dispatch;
    std::unique_ptr<DispatchQueue> m_queue = m_dispatch.makeConcurrentQueue("queue");
    std::unique_ptr<DispatchQueue> m_other = m_dispatch.makeConcurrentQueue("other");
};

/// What `play` says, for each of many seeds.
template<typename Play> std::vector<std::string> saidWithManySeeds(const Play& play)
{
    std::vector<std::string> all;
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        SeededRun run(seed);
        play(run);
        run.dispatch().runUntilIdle();
        all.push_back(run.said);
    }
    return all;
}

std::set<std::string> distinct(const std::vector<std::string>& all)
{
    return { all.begin(), all.end() };
}

TEST(ManualDispatchOrderTest, SameSeedSameRun)
{
    auto play = [](SeededRun& run) {
        for (char word : std::string("abcdefgh")) {
            run.queue().barrierAsync(run.say(word));
            run.other().barrierAsync(run.say(static_cast<char>(word - 'a' + 'A')));
        }
    };

    EXPECT_EQ(saidWithManySeeds(play), saidWithManySeeds(play));
}

TEST(ManualDispatchOrderTest, BlocksOfTheGlobalQueueRunInEveryOrder)
{
    const auto all = saidWithManySeeds([](SeededRun& run) {
        for (char word : std::string("abc"))
            run.dispatch().globalAsyncAfter(0s, run.say(word));
    });

    EXPECT_EQ(distinct(all), (std::set<std::string> { "abc", "acb", "bac", "bca", "cab", "cba" }));
}

TEST(ManualDispatchOrderTest, BarriersOfOneQueueKeepTheirOrderAndMixWithAnotherQueues)
{
    const auto all = saidWithManySeeds([](SeededRun& run) {
        run.queue().barrierAsync(run.say('a'));
        run.queue().barrierAsync(run.say('b'));
        run.other().barrierAsync(run.say('X'));
        run.other().barrierAsync(run.say('Y'));
    });

    EXPECT_EQ(
        distinct(all), (std::set<std::string> { "abXY", "aXbY", "aXYb", "XabY", "XaYb", "XYab" }));
}

TEST(ManualDispatchOrderTest, MainQueueKeepsItsOrder)
{
    const auto all = saidWithManySeeds([](SeededRun& run) {
        run.dispatch().mainAsync(run.say('a'));
        run.dispatch().mainAsync(run.say('b'));
        run.dispatch().globalAsyncAfter(0s, run.say('X'));
    });

    EXPECT_EQ(distinct(all), (std::set<std::string> { "abX", "aXb", "Xab" }));
}

TEST(ManualDispatchOrderTest, AnswersAndWhatIsDueAtOneInstantChangePlaces)
{
    const auto all = saidWithManySeeds([](SeededRun& run) {
        run.dispatch().completionAsync(1s, run.say('a'));
        run.dispatch().completionAsync(1s, run.say('b'));
        run.dispatch().globalAsyncAfter(1s, run.say('c'));
        run.dispatch().advance(1s);
    });

    EXPECT_EQ(distinct(all).size(), 6U);
}

TEST(ManualDispatchOrderTest, TimeKeepsItsOrderWhateverTheSeed)
{
    const auto all = saidWithManySeeds([](SeededRun& run) {
        run.dispatch().globalAsyncAfter(3s, run.say('c'));
        run.dispatch().globalAsyncAfter(1s, run.say('a'));
        run.dispatch().globalAsyncAfter(2s, run.say('b'));
        run.dispatch().advance(3s);
    });

    EXPECT_EQ(distinct(all), std::set<std::string> { "abc" });
}

TEST(ManualDispatchOrderTest, ASyncComesAfterAllThatWasQueuedBeforeIt)
{
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        SeededRun run(seed);
        run.queue().barrierAsync(run.say('a'));
        run.queue().barrierAsync(run.say('b'));
        run.other().barrierAsync(run.say('X'));

        run.queue().sync([&] { run.said += 'S'; });

        EXPECT_EQ(run.said, "abS");
    }
}

} // namespace
} // namespace telvora
