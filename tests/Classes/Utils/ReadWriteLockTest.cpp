#include <Telvora/Classes/Utils/ReadWriteLock.h>
#include <Telvora/Classes/Utils/ReadWriteLockWrapper.h>

#include <tests/Classes/SimulatedHost.h>

#include <future>
#include <mutex>
#include <stdexcept>

namespace telvora {
namespace {

class ReadWriteLockTest : public SimulatedHost {
protected:
    ReadWriteLock lock;
};

using ReadWriteLockQuirk = ReadWriteLockTest;

TEST_F(ReadWriteLockTest, ReadReturnsTheResultOfTheBlock)
{
    EXPECT_EQ(lock.read([] { return std::string("value"); }), "value");

    bool isRead = false;
    lock.read([&] { isRead = true; });
    EXPECT_TRUE(isRead);
}

TEST_F(ReadWriteLockTest, ReadThrowsWhatTheBlockThrows)
{
    try {
        lock.read([]() -> int { throw std::out_of_range("beyond"); });
        FAIL() << "nothing was thrown";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "beyond");
    }
    EXPECT_EQ(lock.read([] { return 1; }), 1);
}

TEST_F(ReadWriteLockQuirk, WriteReturnsBeforeItsBlockHasRun)
{
    int value = 0;

    lock.write([&] { value = 1; });

    EXPECT_EQ(value, 0);
    simulated().runUntilIdle();
    EXPECT_EQ(value, 1);
}

TEST_F(ReadWriteLockTest, AReadAfterAWriteSeesItsEffect)
{
    int value = 0;

    lock.write([&] { value = 1; });

    EXPECT_EQ(lock.read([&] { return value; }), 1);
}

TEST_F(ReadWriteLockTest, ABlockOfAReadMayCallWrite)
{
    int value = 0;

    lock.read([&] { lock.write([&] { value = 1; }); });

    EXPECT_EQ(lock.read([&] { return value; }), 1);
}

TEST(LockAtomicTest, CopiesInAndOut)
{
    lockAtomic<std::string> guarded("a");

    EXPECT_EQ(guarded.getValue(), "a");
    guarded.setValue("b");
    EXPECT_EQ(guarded.wrappedValue(), "b");
    guarded.setWrappedValue("c");
    EXPECT_EQ(guarded.getValue(), "c");
}

TEST(LockAtomicQuirk, ModifyLosesAnUpdateBetweenItsReadAndItsWriteBack)
{
    lockAtomic<int> guarded(1);

    guarded.modify([&](int& value) {
        guarded.setValue(100);
        value += 1;
    });

    EXPECT_EQ(guarded.getValue(), 2);
}

TEST(WithCriticalSectionTest, HoldsTheLockWhileTheBlockRunsAndReturnsItsResult)
{
    std::mutex lock;

    const int result = withCriticalSection(lock, [&] {
        const bool isFree = std::async(std::launch::async, [&] { return lock.try_lock(); }).get();
        EXPECT_FALSE(isFree);
        return 7;
    });

    EXPECT_EQ(result, 7);
    EXPECT_TRUE(lock.try_lock());
    lock.unlock();
}

TEST(WithCriticalSectionTest, ReleasesTheLockWhenTheBlockThrows)
{
    std::mutex lock;

    EXPECT_THROW(
        withCriticalSection(lock, [] { throw std::runtime_error("failed"); }), std::runtime_error);

    EXPECT_TRUE(lock.try_lock());
    lock.unlock();
}

} // namespace
} // namespace telvora
