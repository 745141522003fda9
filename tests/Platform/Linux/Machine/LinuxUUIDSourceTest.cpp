#include <Telvora/Platform/Linux/Machine/LinuxUUIDSource.h>

#include <tests/ChildProcess.h>
#include <tests/Platform/UUIDSourceContract.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace telvora::detail {
namespace {

struct LinuxUUIDSourceSubject {
    UUIDSource& uuids() { return source; }

    LinuxUUIDSource source;
};

INSTANTIATE_TYPED_TEST_SUITE_P(LinuxUUIDSource, UUIDSourceContract, LinuxUUIDSourceSubject);

constexpr std::size_t childUUIDs = 64;

/// The UUIDs that a forked child takes from the source.
std::vector<UUID> takenByChild(LinuxUUIDSource& source)
{
    int ends[2];
    if (::pipe(ends) != 0)
        return {};
    const pid_t child = ::fork();
    if (child == 0) {
        for (std::size_t count = 0; count < childUUIDs; ++count) {
            const UUID uuid = source.next();
            if (::write(ends[1], uuid.data, uuid.size()) != 16)
                ::_exit(1);
        }
        ::_exit(0);
    }
    ::close(ends[1]);
    std::vector<UUID> taken;
    UUID uuid;
    while (::read(ends[0], uuid.data, uuid.size()) == 16)
        taken.push_back(uuid);
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    return taken;
}

TEST(LinuxUUIDSourceTest, AChildNeverRepeatsItsParentOrItsSiblings)
{
    LinuxUUIDSource source;
    std::set<UUID> seen { source.next() };

    const auto first = takenByChild(source);
    const auto second = takenByChild(source);
    seen.insert(first.begin(), first.end());
    seen.insert(second.begin(), second.end());
    for (std::size_t count = 0; count < childUUIDs; ++count)
        seen.insert(source.next());

    EXPECT_EQ(seen.size(), 1 + 3 * childUUIDs);
}

TEST(LinuxUUIDSourceTest, AGrandchildNeverRepeatsItsAncestors)
{
    LinuxUUIDSource source;
    std::set<UUID> seen { source.next() };
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);

    const pid_t child = ::fork();
    if (child == 0) {
        const UUID own = source.next();
        auto all = takenByChild(source);
        all.push_back(own);
        for (const UUID& uuid : all) {
            if (::write(ends[1], uuid.data, uuid.size()) != 16)
                ::_exit(1);
        }
        ::_exit(0);
    }
    ::close(ends[1]);
    UUID uuid;
    while (::read(ends[0], uuid.data, uuid.size()) == 16)
        seen.insert(uuid);
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    seen.insert(source.next());

    EXPECT_EQ(seen.size(), 1 + childUUIDs + 1 + 1);
}

/// Makes the kernel refuse its randomness to this process.
bool forbidRandomness()
{
    sock_filter filter[] {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_getrandom, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    sock_fprog program { sizeof filter / sizeof *filter, filter };
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0
        && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(LinuxUUIDSourceTest, UUIDsDifferWhereTheKernelGivesNoRandomness)
{
    EXPECT_EQ(endOfChild([] {
        if (!forbidRandomness())
            ::_exit(3);
        LinuxUUIDSource source;
        std::set<UUID> seen;
        for (int count = 0; count < 1000; ++count) {
            const UUID uuid = source.next();
            if (uuid.version() != UUID::version_random_number_based || !seen.insert(uuid).second)
                ::_exit(4);
        }
    }),
        "exited 0");
}

} // namespace
} // namespace telvora::detail
