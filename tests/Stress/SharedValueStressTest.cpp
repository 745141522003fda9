#include <Telvora/Base/OnceValue.h>
#include <Telvora/Classes/Utils/ReadWriteLockWrapper.h>

#include <tests/InThreads.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <utility>
#include <vector>

namespace telvora {
namespace {

using detail::OnceValue;

TEST(OnceValueStressTest, OtherReadersWaitForTheFirst)
{
    OnceValue<std::string> value;
    std::atomic<int> computed { 0 };
    std::atomic<int> wrong { 0 };

    inThreads(8, [&](int) {
        for (int round = 0; round < 1'000; ++round) {
            const std::string read = value.get([&] {
                ++computed;
                return std::string(100, 'x');
            });
            wrong += read != std::string(100, 'x');
        }
    });

    EXPECT_EQ(computed, 1);
    EXPECT_EQ(wrong, 0);
}

TEST(OnceValueStressTest, ReadersAndSettersDoNotDisturbEachOther)
{
    OnceValue<std::string> value;
    std::atomic<int> wrong { 0 };

    inThreads(4, [&](int number) {
        for (int round = 0; round < 500; ++round) {
            value.set(std::string(64, static_cast<char>('a' + number)));
            const std::string read = value.get([] { return std::string(); });
            wrong += read != std::string(64, read.front());
        }
    });

    EXPECT_EQ(wrong, 0);
}

TEST(LockAtomicStressTest, AValueIsNeverTorn)
{
    using Pair = std::pair<std::string, std::string>;
    const Pair one { std::string(40, 'a'), std::string(40, 'a') };
    const Pair other { std::string(80, 'b'), std::string(80, 'b') };
    lockAtomic<Pair> guarded(one);
    std::atomic<int> torn { 0 };

    inThreads(4, [&](int number) {
        for (int step = 0; step < 1'000; ++step) {
            if (number == 0)
                guarded.setValue(step % 2 == 0 ? other : one);
            const Pair value = guarded.getValue();
            torn += value.first != value.second;
        }
    });

    EXPECT_EQ(torn, 0);
}

TEST(LockAtomicStressTest, ConcurrentModificationsLoseUpdatesAndInventNone)
{
    lockAtomic<std::vector<int>> guarded;

    inThreads(4, [&](int number) {
        for (int step = 0; step < 250; ++step)
            guarded.modify([&](std::vector<int>& values) { values.push_back(number); });
    });

    const std::vector<int> values = guarded.getValue();
    EXPECT_FALSE(values.empty());
    for (int number = 0; number < 4; ++number)
        EXPECT_LE(std::count(values.begin(), values.end(), number), 250);
}

} // namespace
} // namespace telvora
