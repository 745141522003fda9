#include "RandomSession.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

namespace telvora {
namespace {

// A session needs fresh shared objects, so each has a process; nothing here has threads to lose.
bool runInChild(std::uint64_t seed)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const auto wrong = RandomSession(seed).run();
        for (const auto& line : wrong)
            std::fprintf(stderr, "seed %lu: %s\n", seed, line.c_str());
        std::fflush(nullptr);
        _exit(wrong.empty() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// A thousand schedules, a hundred a case.
class RandomScheduleTest : public testing::TestWithParam<std::uint64_t> { };

TEST_P(RandomScheduleTest, TheLedgerAddsUpToTheEvent)
{
    for (std::uint64_t seed = GetParam(); seed < GetParam() + 100; ++seed)
        EXPECT_TRUE(runInChild(seed)) << "seed " << seed;
}

INSTANTIATE_TEST_SUITE_P(
    Hundreds, RandomScheduleTest, testing::Range(std::uint64_t(1), std::uint64_t(1001), 100));

} // namespace
} // namespace telvora
