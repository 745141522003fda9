#include <Telvora/Platform/Dispatch/BlockList.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace telvora {
namespace {

using detail::BlockChunkStore;
using detail::BlockList;

// More than two chunks hold.
constexpr int manyBlocks = 500;

class BlockListTest : public testing::Test {
protected:
    void append(int number)
    {
        list.append([&](Work& block) { block = [this, number] { ran.push_back(number); }; });
    }

    void runFirst()
    {
        list.first()();
        list.removeFirst();
    }

    BlockChunkStore store;
    BlockList list { store };
    std::vector<int> ran;
};

TEST_F(BlockListTest, IsEmptyAtFirstAndAfterTheLastRemoval)
{
    EXPECT_TRUE(list.isEmpty());
    append(1);
    EXPECT_FALSE(list.isEmpty());
    runFirst();

    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(list.appendedCount(), 1U);
    EXPECT_EQ(list.removedCount(), 1U);
}

TEST_F(BlockListTest, KeepsTheOrderAcrossTheEdgesOfItsChunks)
{
    for (int number = 0; number < manyBlocks; ++number)
        append(number);
    while (!list.isEmpty())
        runFirst();

    ASSERT_EQ(ran.size(), std::size_t(manyBlocks));
    for (int number = 0; number < manyBlocks; ++number)
        EXPECT_EQ(ran[std::size_t(number)], number);
}

TEST_F(BlockListTest, GoesOnAfterEachLengthAtWhichItRanEmpty)
{
    // Among them those at which a chunk is just full.
    int appended = 0;
    for (int length = 1; length < 200; ++length) {
        for (int number = 0; number < length; ++number)
            append(appended++);
        while (!list.isEmpty())
            runFirst();
        if (length % 3 == 0)
            list.giveMemoryBack();
    }

    ASSERT_EQ(ran.size(), std::size_t(appended));
    for (int number = 0; number < appended; ++number)
        EXPECT_EQ(ran[std::size_t(number)], number);
}

TEST_F(BlockListTest, ABlockStaysWhereItWasBuilt)
{
    const Work* built = nullptr;

    list.append([&](Work& block) { built = &block; });

    EXPECT_EQ(&list.first(), built);
    list.removeFirst();
}

TEST_F(BlockListTest, RemovingABlockDestroysWhatItCaptured)
{
    const auto witness = std::make_shared<int>(0);
    list.append([&](Work& block) { block = [witness] {}; });

    list.first()();
    EXPECT_EQ(witness.use_count(), 2);
    list.removeFirst();

    EXPECT_EQ(witness.use_count(), 1);
}

TEST_F(BlockListTest, ABlockThatCannotBeMadeIsNotAppended)
{
    // At the edge of a chunk, where a new one has just been added, as well as inside one.
    for (int number = 0; number < manyBlocks; ++number) {
        EXPECT_THROW(
            list.append([](Work&) { throw std::runtime_error("no"); }), std::runtime_error);
        append(number);
    }
    while (!list.isEmpty())
        runFirst();

    EXPECT_EQ(ran.size(), std::size_t(manyBlocks));
    EXPECT_THROW(list.append([](Work&) { throw std::runtime_error("no"); }), std::runtime_error);
    list.giveMemoryBack();
}

TEST_F(BlockListTest, TheStoreKeepsAMegabyteOfALongBacklog)
{
    for (int number = 0; number < 100'000; ++number)
        append(number);
    while (!list.isEmpty())
        runFirst();
    list.giveMemoryBack();

    EXPECT_EQ(store.storedCount(), 64U);
}

TEST_F(BlockListTest, ANewBlockUsesAStoredChunk)
{
    for (int number = 0; number < manyBlocks; ++number)
        append(number);
    while (!list.isEmpty())
        runFirst();
    list.giveMemoryBack();
    const std::size_t stored = store.storedCount();

    append(0);

    EXPECT_GT(stored, 1U);
    EXPECT_EQ(store.storedCount(), stored - 1);
    runFirst();
}

TEST_F(BlockListTest, OneThreadMayAppendWhileAnotherRemoves)
{
    constexpr int count = 100'000;
    std::thread appending([this] {
        for (int number = 0; number < count; ++number)
            append(number);
    });

    while (list.removedCount() < std::uint64_t(count)) {
        if (!list.isEmpty())
            runFirst();
    }
    appending.join();

    ASSERT_EQ(ran.size(), std::size_t(count));
    EXPECT_EQ(ran.front(), 0);
    EXPECT_EQ(ran.back(), count - 1);
}

} // namespace
} // namespace telvora
