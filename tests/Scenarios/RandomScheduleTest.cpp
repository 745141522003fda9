#include "RandomSession.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

namespace telvora {
namespace {

// Each session needs new shared objects, so each runs in its own child process. Nothing here starts
// a thread, so the child loses none.
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

// A thousand schedules, a hundred in each case.
class RandomScheduleTest : public testing::TestWithParam<std::uint64_t> { };

TEST_P(RandomScheduleTest, TheLedgerCountsEveryEvent)
{
    for (std::uint64_t seed = GetParam(); seed < GetParam() + 100; ++seed)
        EXPECT_TRUE(runInChild(seed)) << "seed " << seed;
}

INSTANTIATE_TEST_SUITE_P(
    Hundreds, RandomScheduleTest, testing::Range(std::uint64_t(1), std::uint64_t(1001), 100));

} // namespace
} // namespace telvora
