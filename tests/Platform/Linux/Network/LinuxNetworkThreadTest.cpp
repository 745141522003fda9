// How the thread that watches the network behaves in a host's process.

#include <Telvora/Base/ForkedChild.h>

#include <Telvora/Platform/Dispatch/ThreadedDispatch.h>
#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <tests/ChildProcess.h>
#include <tests/Platform/Linux/Network/NetworkNamespace.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;
using Connection = Reachability::Connection;

class LinuxNetworkThreadTest : public testing::Test, protected NetworkFixture {
protected:
    /// The folder of the watching thread in /proc; absent if there is no such thread.
    std::optional<std::string> threadFolder()
    {
        runMain();
        return runningThread();
    }

    /// The same, without running the block that starts it.
    static std::optional<std::string> runningThread()
    {
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
            std::string name;
            std::getline(std::ifstream(entry.path() / "comm"), name);
            if (name == "telvora-netlink")
                return entry.path().string();
        }
        return std::nullopt;
    }

    /// From now on the system refuses netlink sockets to the process, as sandboxes do.
    static void forbidNetlink()
    {
        sock_filter program[] {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_socket, 0, 3),
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[0])),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AF_NETLINK, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAFNOSUPPORT),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        };
        sock_fprog filter { std::size(program), program };
        ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
        ASSERT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
    }

    static std::string statusOf(const std::string& folder, const std::string& key)
    {
        std::ifstream status(folder + "/status");
        std::string line;
        while (std::getline(status, line)) {
            if (line.rfind(key + ":", 0) == 0)
                return line.substr(line.find_first_not_of(": \t", key.size()));
        }
        return {};
    }
};

TEST_F(LinuxNetworkThreadTest, TheFirstQuestionStartsOneThreadForAllObjects)
{
    const auto first = make();
    EXPECT_EQ(threadFolder(), std::nullopt);

    first->connection();
    // Later, so that it does not delay the first event of a process.
    dispatch.runUntilIdle();
    EXPECT_EQ(runningThread(), std::nullopt);
    ASSERT_TRUE(eventually([&] { return threadFolder().has_value(); }));
    const auto folder = threadFolder();
    const auto second = make();
    second->connection();
    second->startNotifier();

    EXPECT_EQ(threadFolder(), folder);
}

TEST_F(LinuxNetworkThreadTest, AQuestionBeforeTheLibraryIsUsedStartsNothing)
{
    if (!canChange())
        return;
    detail::forkState.isInUse = false;
    const auto object = make();

    EXPECT_EQ(object->connection(), Connection::none);
    space.ip("route replace default via 10.0.1.2 dev radio");
    EXPECT_EQ(object->connection(), Connection::cellular);

    EXPECT_EQ(threadFolder(), std::nullopt);
}

TEST_F(LinuxNetworkThreadTest, AChildForkedBeforeUseWatchesTheNetworkItself)
{
    if (!canChange())
        return;
    detail::forkState.isInUse = false;
    const auto object = make();
    object->connection();

    EXPECT_EQ(endOfChild([&] {
        object->startNotifier();
        change(Connection::cellular);
        if (!threadFolder() || object->connection() != Connection::cellular)
            ::_exit(3);
    }),
        "exited 0");
    EXPECT_EQ(threadFolder(), std::nullopt);
}

TEST_F(LinuxNetworkThreadTest, DescriptorsThatTheHostClosedAndUsedAgainAreLeftAlone)
{
    if (!canChange())
        return;
    const auto object = make();
    object->connection();

    // As a program does that closes every descriptor it did not open.
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const int lowest = ends[0];
    ::close(ends[0]);
    ::close(ends[1]);
    std::vector<int> reused;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int number = std::stoi(entry.path().filename().string());
        if (number > 2 && number < lowest)
            reused.push_back(number);
    }
    ASSERT_FALSE(reused.empty());
    ASSERT_EQ(::pipe(ends), 0);
    for (const int number : reused)
        ASSERT_EQ(::dup2(ends[0], number), number);

    ASSERT_EQ(::write(ends[1], "x", 1), 1);
    space.ip("route replace default via 10.0.1.2 dev radio");
    EXPECT_TRUE(becomes(Connection::cellular));

    for (const int number : reused)
        EXPECT_GE(::fcntl(number, F_GETFD), 0) << number;
    char letter = 0;
    EXPECT_EQ(::read(ends[0], &letter, 1), 1);
}

TEST_F(LinuxNetworkThreadTest, TheThreadTakesNoSignals)
{
    const auto object = make();
    object->connection();
    ASSERT_TRUE(eventually([&] { return threadFolder().has_value(); }));

    // All except those that cannot be blocked.
    const unsigned long long blocked
        = std::stoull(statusOf(*threadFolder(), "SigBlk"), nullptr, 16);
    for (int signal = 1; signal <= 31; ++signal) {
        if (signal == SIGKILL || signal == SIGSTOP)
            continue;
        EXPECT_TRUE(blocked & 1ull << (signal - 1)) << signal;
    }
}

TEST_F(LinuxNetworkThreadTest, AQuietNetworkWakesNobody)
{
    if (!canChange())
        return;
    const auto object = make();
    object->startNotifier();
    ASSERT_TRUE(eventually([&] { return threadFolder().has_value(); }));
    const std::string folder = *threadFolder();

    // The links of the fixture get their IPv6 addresses during the first seconds.
    std::string before;
    std::string after = "none";
    for (int attempt = 0; attempt < 30 && before != after; ++attempt) {
        before = statusOf(folder, "voluntary_ctxt_switches");
        std::this_thread::sleep_for(1s);
        after = statusOf(folder, "voluntary_ctxt_switches");
    }

    EXPECT_EQ(after, before);
}

TEST_F(LinuxNetworkThreadTest, TheThreadEndsWithTheServiceAndItsObjects)
{
    ManualDispatch ownDispatch(clock);
    std::unique_ptr<Reachability> object;
    {
        LinuxReachability own(ownDispatch, SystemFiles(tree.path()));
        object = own.makeReachability(ReachabilityService::Use::held);
        object->connection();
        ownDispatch.advance(10ms);
        ASSERT_TRUE(eventually([&] { return threadFolder().has_value(); }));
    }
    object->connection();

    object.reset();

    EXPECT_TRUE(eventually([&] { return !threadFolder(); }));
}

TEST_F(LinuxNetworkThreadTest, AServiceThatIsGoneBeforeItsThreadStartsLeavesNone)
{
    ManualDispatch ownDispatch(clock);
    {
        LinuxReachability own(ownDispatch, SystemFiles(tree.path()));
        own.makeReachability(ReachabilityService::Use::held)->connection();
    }

    ownDispatch.advance(10ms);

    EXPECT_TRUE(eventually([] { return !runningThread(); }));
}

TEST_F(LinuxNetworkThreadTest, TheThreadStartsOnARealDispatch)
{
    ThreadedDispatch ownDispatch(startDetachedThread);
    LinuxReachability own(ownDispatch, SystemFiles(tree.path()));

    own.makeReachability(ReachabilityService::Use::held)->connection();

    EXPECT_TRUE(eventually([] { return runningThread().has_value(); }));
}

TEST_F(LinuxNetworkThreadTest, ASandboxWithoutRoutingMessagesGetsNoObject)
{
    forbidNetlink();

    EXPECT_EQ(make(), nullptr);
    EXPECT_EQ(reachability.makeReachability(ReachabilityService::Use::oneReading), nullptr);
    EXPECT_EQ(threadFolder(), std::nullopt);
}

TEST_F(LinuxNetworkThreadTest, AForkedChildKeepsTheReadingAndLeavesItsParentAlone)
{
    if (!canChange())
        return;
    change(Connection::cellular);
    auto object = make();
    object->startNotifier();

    const pid_t child = ::fork();
    if (child == 0) {
        const bool isKept = object->connection() == Connection::cellular;
        object->stopNotifier();
        object.reset();
        reachability.~LinuxReachability();
        ::_exit(isKept ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);

    EXPECT_EQ(status, 0);
    change(Connection::wifi);
    EXPECT_EQ(object->connection(), Connection::wifi);
}

TEST_F(LinuxNetworkThreadTest, DestroyingAnObjectWaitsForItsRunningCallback)
{
    if (!canChange())
        return;
    auto object = make();
    std::atomic<bool> isDestroyed { false };
    std::atomic<bool> wasDestroyedEarly { false };
    std::thread destroyer;
    object->setWhenReachable([&](Connection) {
        destroyer = std::thread([&] {
            object.reset();
            isDestroyed = true;
        });
        std::this_thread::sleep_for(100ms);
        wasDestroyedEarly = isDestroyed.load();
    });
    object->startNotifier();

    change(Connection::wifi);
    destroyer.join();

    EXPECT_FALSE(wasDestroyedEarly);
    EXPECT_TRUE(isDestroyed);
}

TEST_F(LinuxNetworkThreadTest, ACallbackThatThrowsDoesNotSpoilTheNext)
{
    if (!canChange())
        return;
    const auto object = make();
    int unreachable = 0;
    object->setWhenReachable([](Connection) { throw 1; });
    object->setWhenUnreachable([&](Connection) { ++unreachable; });
    object->startNotifier();

    change(Connection::wifi);
    change(Connection::none);

    EXPECT_EQ(unreachable, 1);
}

TEST_F(LinuxNetworkThreadTest, ObjectsComeAndGoOnManyThreadsWhileTheNetworkChanges)
{
    if (!canChange())
        return;
    std::atomic<bool> isDone { false };
    std::vector<std::thread> threads;
    for (int count = 0; count < 3; ++count) {
        threads.emplace_back([&] {
            while (!isDone) {
                const auto object = make();
                object->setWhenReachable([](Connection) {});
                object->startNotifier();
                object->connection();
                std::this_thread::sleep_for(1ms);
            }
        });
    }

    for (int round = 0; round < 10; ++round) {
        change(Connection::wifi);
        change(Connection::none);
    }
    isDone = true;
    for (auto& thread : threads)
        thread.join();

    EXPECT_EQ(make()->connection(), Connection::none);
}

using LinuxNetworkThreadDeathTest = LinuxNetworkThreadTest;

TEST_F(LinuxNetworkThreadDeathTest, TheProcessEndsCleanlyWhileTheThreadWatches)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const auto object = make();
            object->startNotifier();
            std::exit(object->connection() == Connection::none || object ? 7 : 8);
        },
        testing::ExitedWithCode(7), "");
}

} // namespace
} // namespace telvora::detail
