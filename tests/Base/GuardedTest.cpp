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

// Calls `atEnd` when it is destroyed.
struct Observed {
    std::function<void()> atEnd;

    ~Observed()
    {
        if (atEnd)
            atEnd();
    }
};

TEST(GuardedTest, ReturnsACopyOfTheValueThatWasSet)
{
    Guarded<std::string> value("a");
    EXPECT_EQ(value.get(), "a");

    value.set("b");

    EXPECT_EQ(value.get(), "b");
    EXPECT_EQ(value.exchange("c"), "b");
}

TEST(GuardedTest, WithChangesTheValueInPlaceAndReturnsTheResult)
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

TEST(GuardedTest, TheOldValueIsDestroyedAfterTheLockIsReleased)
{
    Guarded<std::shared_ptr<Observed>> value(std::make_shared<Observed>());
    bool couldLock = false;
    value.get()->atEnd = [&] { couldLock = value.get() == nullptr; };

    value.set(nullptr);

    EXPECT_TRUE(couldLock);
}

TEST(GuardedTest, AForkedChildTouchesNeitherTheLockNorTheValue)
{
    Guarded<std::string> value("parent's");
    std::string end;
    detail::noteUse();

    value.with([&](std::string&) {
        // For the child, another thread held the lock at the fork.
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
    static OnceValue<int> notComputed;
    EXPECT_EQ(computed.get([] { return 7; }), 7);
    std::string end;
    detail::noteUse();

    notComputed.get([&] {
        // For the child, another thread was computing it at the fork.
        end = endOfChild([] {
            detail::afterForkInChild();
            const auto fail = []() -> int { ::_exit(4); };
            notComputed.set(1);
            ::_exit(computed.get(fail) == 7 && notComputed.get(fail) == 0 ? 0 : 3);
        });
        return 8;
    });

    EXPECT_EQ(end, "exited 0");
}

TEST(NeverDestroyedTest, ExistsFromTheStart)
{
    s_shared->set(std::make_shared<int>(3));

    EXPECT_EQ(*s_shared->get(), 3);
}

} // namespace
} // namespace telvora
