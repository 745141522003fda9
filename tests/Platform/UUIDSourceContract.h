#pragma once

#include <Telvora/Platform/UUIDSource.h>

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

namespace telvora {

/// What every UUIDSource promises. `Subject` is made without arguments and has
/// `UUIDSource& uuids()`.
template<typename Subject> class UUIDSourceContract : public testing::Test {
protected:
    Subject subject;
};

TYPED_TEST_SUITE_P(UUIDSourceContract);

TYPED_TEST_P(UUIDSourceContract, EveryOneIsOfVersion4)
{
    for (int count = 0; count < 100; ++count) {
        const UUID uuid = this->subject.uuids().next();

        EXPECT_EQ(uuid.data[6] >> 4, 4);
        EXPECT_EQ(uuid.data[8] >> 6, 2);
    }
}

TYPED_TEST_P(UUIDSourceContract, NoTwoAreEqual)
{
    std::set<UUID> seen;

    for (int count = 0; count < 10'000; ++count)
        EXPECT_TRUE(seen.insert(this->subject.uuids().next()).second);
}

TYPED_TEST_P(UUIDSourceContract, ThreadsNeverGetTheSame)
{
    constexpr std::size_t threadCount = 4;
    constexpr std::size_t each = 1000;
    std::vector<std::vector<UUID>> taken(threadCount);
    std::vector<std::thread> threads;

    for (auto& own : taken) {
        threads.emplace_back([this, &own] {
            for (std::size_t count = 0; count < each; ++count)
                own.push_back(this->subject.uuids().next());
        });
    }
    for (auto& thread : threads)
        thread.join();

    std::set<UUID> seen;
    for (const auto& own : taken)
        seen.insert(own.begin(), own.end());
    EXPECT_EQ(seen.size(), threadCount * each);
}

REGISTER_TYPED_TEST_SUITE_P(
    UUIDSourceContract, EveryOneIsOfVersion4, NoTwoAreEqual, ThreadsNeverGetTheSame);

} // namespace telvora
