#include <Telvora/Platform/Linux/LinuxUUIDSource.h>

#include <tests/Platform/UUIDSourceContract.h>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace telvora {
namespace {

struct LinuxUUIDSourceSubject {
    UUIDSource& uuids() { return source; }

    LinuxUUIDSource source;
};

INSTANTIATE_TYPED_TEST_SUITE_P(LinuxUUIDSource, UUIDSourceContract, LinuxUUIDSourceSubject);

constexpr std::size_t childUUIDs = 64;

/// What a child made by fork() takes from the source, handed over through a pipe.
std::vector<UUIDBytes> takenByChild(LinuxUUIDSource& source)
{
    int ends[2];
    if (::pipe(ends) != 0)
        return {};
    const pid_t child = ::fork();
    if (child == 0) {
        for (std::size_t count = 0; count < childUUIDs; ++count) {
            const UUIDBytes bytes = source.next();
            if (::write(ends[1], bytes.data(), bytes.size()) != 16)
                ::_exit(1);
        }
        ::_exit(0);
    }
    ::close(ends[1]);
    std::vector<UUIDBytes> taken;
    UUIDBytes bytes;
    while (::read(ends[0], bytes.data(), bytes.size()) == 16)
        taken.push_back(bytes);
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    return taken;
}

TEST(LinuxUUIDSourceTest, AChildNeverRepeatsItsParentOrItsSiblings)
{
    LinuxUUIDSource source;
    std::set<UUIDBytes> seen { source.next() };

    const auto first = takenByChild(source);
    const auto second = takenByChild(source);
    seen.insert(first.begin(), first.end());
    seen.insert(second.begin(), second.end());
    for (std::size_t count = 0; count < childUUIDs; ++count)
        seen.insert(source.next());

    EXPECT_EQ(seen.size(), 1 + 3 * childUUIDs);
}

TEST(LinuxUUIDSourceTest, AGrandchildNeverRepeatsItsLine)
{
    LinuxUUIDSource source;
    std::set<UUIDBytes> seen { source.next() };
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);

    const pid_t child = ::fork();
    if (child == 0) {
        const UUIDBytes own = source.next();
        auto all = takenByChild(source);
        all.push_back(own);
        for (const UUIDBytes& bytes : all) {
            if (::write(ends[1], bytes.data(), bytes.size()) != 16)
                ::_exit(1);
        }
        ::_exit(0);
    }
    ::close(ends[1]);
    UUIDBytes bytes;
    while (::read(ends[0], bytes.data(), bytes.size()) == 16)
        seen.insert(bytes);
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    seen.insert(source.next());

    EXPECT_EQ(seen.size(), 1 + childUUIDs + 1 + 1);
}

} // namespace
} // namespace telvora
