#include <Telvora/Base/OnceValue.h>

#include <Telvora/Base/Fatal.h>
#include <Telvora/Base/HostCall.h>

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace telvora {
namespace {

using detail::OnceValue;

TEST(OnceValueTest, IsComputedByItsFirstReaderAlone)
{
    OnceValue<std::string> value;
    int computed = 0;
    const auto compute = [&] { return std::to_string(++computed); };

    EXPECT_EQ(value.get(compute), "1");
    EXPECT_EQ(value.get(compute), "1");
}

TEST(OnceValueTest, WhatIsSetCounts)
{
    OnceValue<int> value;
    EXPECT_EQ(value.get([] { return 1; }), 1);

    value.set(2);
    value.set(3);

    EXPECT_EQ(value.get([] { return 1; }), 3);
}

TEST(OnceValueTest, OneThatIsSetFirstIsNeverComputed)
{
    OnceValue<int> value;

    value.set(2);

    EXPECT_EQ(value.get([]() -> int { throw std::logic_error("computed"); }), 2);
}

TEST(OnceValueTest, AComputationThatThrowsIsTriedAgain)
{
    OnceValue<int> value;

    EXPECT_THROW(value.get([]() -> int { throw std::runtime_error("x"); }), std::runtime_error);

    EXPECT_EQ(value.get([] { return 1; }), 1);
}

TEST(OnceValueTest, OtherReadersWaitForTheFirst)
{
    OnceValue<std::string> value;
    std::atomic<int> computed { 0 };
    std::atomic<int> wrong { 0 };
    std::vector<std::thread> readers;
    for (int reader = 0; reader < 8; ++reader) {
        readers.emplace_back([&] {
            for (int round = 0; round < 1'000; ++round) {
                const std::string read = value.get([&] {
                    ++computed;
                    return std::string(100, 'x');
                });
                if (read != std::string(100, 'x'))
                    ++wrong;
            }
        });
    }
    for (std::thread& reader : readers)
        reader.join();

    EXPECT_EQ(computed, 1);
    EXPECT_EQ(wrong, 0);
}

TEST(OnceValueTest, ReadersAndSettersDoNotDisturbEachOther)
{
    OnceValue<std::string> value;
    std::atomic<int> wrong { 0 };
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&, number] {
            for (int round = 0; round < 500; ++round) {
                value.set(std::string(64, static_cast<char>('a' + number)));
                const std::string read = value.get([] { return std::string(); });
                if (read != std::string(64, read.front()))
                    ++wrong;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(wrong, 0);
}

TEST(HostCallTest, WhatIsThrownIsCountedAndStaysInside)
{
    const auto before = hostExceptionCount();

    EXPECT_EQ(callHost([] {}), HostCall::returned);
    EXPECT_EQ(hostExceptionCount(), before);
    EXPECT_EQ(callHost([] { throw std::runtime_error("x"); }), HostCall::threw);
    EXPECT_EQ(callHost([] { throw 7; }), HostCall::threw);
    EXPECT_EQ(hostExceptionCount(), before + 2);
}

TEST(FatalDeathTest, SaysWhatAndWhereAndAborts)
{
    EXPECT_EXIT(fatal("No way", "Here"), testing::KilledBySignal(SIGABRT),
        "^Fatal error: No way: file Here\n$");
}

} // namespace
} // namespace telvora
