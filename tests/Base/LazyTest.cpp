#include <Telvora/Base/Lazy.h>

#include <tests/ChildProcess.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace telvora {
namespace {

using detail::Lazy;

TEST(LazyTest, TheFirstCallMakesTheObjectAndLaterCallsReturnIt)
{
    static constinit Lazy<std::string> object;

    std::string& first = object.get([] { return new std::string("made"); });
    std::string& second
        = object.get([]() -> std::string* { throw std::logic_error("made twice"); });

    EXPECT_EQ(first, "made");
    EXPECT_EQ(&first, &second);
}

TEST(LazyTest, AnObjectWhoseMakingThrewIsMadeByTheNextCall)
{
    static constinit Lazy<int> object;
    const auto fail = []() -> int* { throw std::runtime_error("x"); };

    EXPECT_THROW(object.get(fail), std::runtime_error);

    EXPECT_EQ(object.get([] { return new int(2); }), 2);
}

TEST(LazyForkTest, AForkedChildMakesItsOwnObjectWhileTheParentMakesIt)
{
    static constinit Lazy<int> object;
    std::string end;
    detail::noteUse();

    object.get([&] {
        // For the child, another thread was making it at the fork.
        end = endOfChild([] {
            detail::afterForkInChild();
            const int made = object.get([] { return new int(7); });
            ::_exit(made == 7 && object.get([] { return new int(8); }) == 7 ? 0 : 3);
        });
        return new int(1);
    });

    EXPECT_EQ(end, "exited 0");
}

} // namespace
} // namespace telvora
