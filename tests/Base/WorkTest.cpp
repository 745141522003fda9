#include <Telvora/Base/Work.h>

#include <gtest/gtest.h>

#include <array>
#include <memory>

namespace telvora {
namespace {

TEST(WorkTest, IsEmptyUntilGivenACallable)
{
    Work work;
    EXPECT_FALSE(work);

    work = Work([] {});
    EXPECT_TRUE(work);
}

TEST(WorkTest, AcceptsCapturesThatCanOnlyBeMoved)
{
    int seen = 0;
    Work work([value = std::make_unique<int>(7), &seen] { seen = *value; });

    Work moved = std::move(work);
    moved();

    EXPECT_EQ(seen, 7);
    EXPECT_FALSE(work);
}

TEST(WorkTest, IsMadeInPlaceWithoutAMove)
{
    struct Unmovable {
        int& seen;
        int value;

        Unmovable(int& theSeen, int theValue)
            : seen(theSeen)
            , value(theValue)
        {
        }
        Unmovable(Unmovable&& other) noexcept
            : seen(other.seen)
            , value(-1)
        {
        }
        void operator()() { seen = value; }
    };
    int seen = 0;
    Work work;

    work.emplace<Unmovable>(seen, 7);
    work();

    EXPECT_EQ(seen, 7);
}

TEST(WorkTest, IsEmptyAfterMakingANewCallableInPlaceThrew)
{
    struct Unmakeable {
        explicit Unmakeable(int) { throw 1; }
        void operator()() { }
    };
    auto witness = std::make_shared<int>(0);
    Work work([witness] {});

    EXPECT_THROW(work.emplace<Unmakeable>(0), int);

    EXPECT_FALSE(work);
    EXPECT_EQ(witness.use_count(), 1);
}

TEST(WorkTest, AcceptsCapturesThatDoNotFitInside)
{
    std::array<char, 4096> large {};
    large.back() = 'x';
    char seen = 0;
    Work work([large, &seen] { seen = large.back(); });

    Work moved = std::move(work);
    moved();

    EXPECT_EQ(seen, 'x');
}

TEST(WorkTest, DestroysItsCapturesOnceAlsoWithoutACall)
{
    auto witness = std::make_shared<int>(0);
    {
        Work work([witness] {});
        Work moved = std::move(work);
        EXPECT_EQ(witness.use_count(), 2);
    }

    EXPECT_EQ(witness.use_count(), 1);
}

TEST(FunctionRefTest, CallsTheCallableItWasMadeFrom)
{
    int calls = 0;
    auto count = [&](int step) { return calls += step; };
    FunctionRef<int(int)> reference(count);

    EXPECT_EQ(reference(2), 2);
    EXPECT_EQ(reference(3), 5);
}

} // namespace
} // namespace telvora
