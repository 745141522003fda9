#include <Telvora/Classes/Model/PageTransition.h>

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

namespace telvora {
namespace {

using testing::ElementsAre;

// The flags, with a hook after each access that stands for another thread.
struct Flags {
    static bool isTransitioning() { return read("transitioning", transitioning); }
    static void setIsTransitioning(bool value) { write("transitioning", transitioning, value); }
    static bool isTransitioningControl() { return read("control", control); }
    static void setIsTransitioningControl(bool value) { write("control", control, value); }

    static inline bool transitioning = false;
    static inline bool control = false;
    static inline std::vector<std::string> accesses;
    // Called after the access of this number; the first is 1.
    static inline std::size_t interruptedAfter = 0;
    static inline std::function<void()> otherThread;

private:
    static bool read(const std::string& name, const bool& flag)
    {
        const bool value = flag;
        note("read " + name);
        return value;
    }

    static void write(const std::string& name, bool& flag, bool value)
    {
        flag = value;
        note((value ? "set " : "clear ") + name);
    }

    static void note(const std::string& access)
    {
        accesses.push_back(access);
        if (accesses.size() == interruptedAfter)
            otherThread();
    }
};

TEST(PageTransitionTest, OpeningTestsOneFlagAndSetsBoth)
{
    detail::openTransition<Flags>();
    EXPECT_THAT(
        Flags::accesses, ElementsAre("read transitioning", "set transitioning", "set control"));

    Flags::accesses.clear();
    detail::openTransition<Flags>();
    EXPECT_THAT(Flags::accesses, ElementsAre("read transitioning"));
}

TEST(PageTransitionTest, OnlyTheFirstPageOfAnOpenChangeClaimsItsClose)
{
    EXPECT_FALSE(detail::claimTransitionClose<Flags>());
    detail::openTransition<Flags>();

    EXPECT_TRUE(detail::claimTransitionClose<Flags>());
    EXPECT_FALSE(detail::claimTransitionClose<Flags>());
}

TEST(PageTransitionQuirk, TwoConcurrentPagesMayBothClaimTheClose)
{
    detail::openTransition<Flags>();
    Flags::accesses.clear();
    bool isClaimedByOther = false;
    Flags::interruptedAfter = 2;
    Flags::otherThread = [&] { isClaimedByOther = detail::claimTransitionClose<Flags>(); };

    const bool isClaimed = detail::claimTransitionClose<Flags>();

    EXPECT_TRUE(isClaimed);
    EXPECT_TRUE(isClaimedByOther);
}

TEST(PageTransitionQuirk, ACloseClaimedWhileAChangeOpensIsOverwritten)
{
    Flags::interruptedAfter = 2;
    Flags::otherThread = [] { Flags::setIsTransitioningControl(false); };

    detail::openTransition<Flags>();

    EXPECT_TRUE(Flags::control);
}

} // namespace
} // namespace telvora
