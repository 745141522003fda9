#include <Telvora/Base/Guarded.h>

#include <Telvora/Base/NeverDestroyed.h>
#include <Telvora/Base/OnceValue.h>

#include <tests/ChildProcess.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace telvora {
namespace {

using detail::Guarded;
using detail::NeverDestroyed;
using detail::OnceValue;

constinit NeverDestroyed<Guarded<std::shared_ptr<int>>> s_shared;

/// Calls back when it is destroyed.
struct Last {
    std::function<void()> atEnd;

    ~Last()
    {
        if (atEnd)
            atEnd();
    }
};

TEST(GuardedTest, GivesACopyOfWhatWasSet)
{
    Guarded<std::string> value("a");
    EXPECT_EQ(value.get(), "a");

    value.set("b");

    EXPECT_EQ(value.get(), "b");
    EXPECT_EQ(value.exchange("c"), "b");
}

TEST(GuardedTest, WorksOnTheValueInPlaceAndGivesTheResultBack)
{
    Guarded<std::string> value("ab");

    const auto size = value.with([](std::string& text) {
        text += "c";
        return text.size();
    });
    value.with([](std::string& text) { text += "d"; });

    EXPECT_EQ(size, 3U);
    EXPECT_EQ(std::as_const(value).with([](const std::string& text) { return text; }), "abcd");
}

TEST(GuardedTest, TheOldValueDiesAfterTheLock)
{
    Guarded<std::shared_ptr<Last>> value(std::make_shared<Last>());
    bool couldLock = false;
    value.get()->atEnd = [&] { couldLock = value.get() == nullptr; };

    value.set(nullptr);

    EXPECT_TRUE(couldLock);
}

TEST(GuardedTest, AForkedChildLooksAtNeitherTheLockNorTheValue)
{
    Guarded<std::string> value("parent's");
    std::string end;
    detail::noteUse();

    value.with([&](std::string&) {
        // As if another thread held the lock at the fork.
        end = endOfChild([&] {
            detail::afterForkInChild();
            value.set("child's");
            const bool isNeutral = value.get().empty()
                && value.with([](std::string& text) { return text.size(); }) == 0;
            ::_exit(isNeutral ? 0 : 3);
        });
    });

    EXPECT_EQ(end, "exited 0");
}

TEST(OnceValueForkTest, AForkedChildReadsWhatWasComputedAndComputesNothing)
{
    static OnceValue<int> computed;
    static OnceValue<int> open;
    EXPECT_EQ(computed.get([] { return 7; }), 7);
    std::string end;
    detail::noteUse();

    open.get([&] {
        // As if another thread computed it at the fork.
        end = endOfChild([] {
            detail::afterForkInChild();
            const auto fail = []() -> int { ::_exit(4); };
            open.set(1);
            ::_exit(computed.get(fail) == 7 && open.get(fail) == 0 ? 0 : 3);
        });
        return 8;
    });

    EXPECT_EQ(end, "exited 0");
}

TEST(NeverDestroyedTest, IsThereFromTheStart)
{
    s_shared->set(std::make_shared<int>(3));

    EXPECT_EQ(*s_shared->get(), 3);
}

} // namespace
} // namespace telvora
