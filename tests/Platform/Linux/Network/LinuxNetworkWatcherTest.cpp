#include <Telvora/Platform/Linux/Network/LinuxNetworkWatcher.h>

#include <tests/Platform/Linux/Network/NetlinkMessages.h>
#include <tests/Platform/Linux/Network/NetworkNamespace.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include <linux/if.h>

namespace telvora::detail {
namespace {

using Connection = Reachability::Connection;
using Dump = NetlinkSocket::Dump;

constexpr int dumpsPerReading = 2;
constexpr int readingsInARow = 8;

/// Answers in place of the kernel. It lists a wired link with a default route.
struct ScriptedKernel {
    Dump dump(std::uint16_t type, NetlinkSocket::Visitor visit)
    {
        const bool isImpaired = dumps++ < impairedDumps;
        if (type == RTM_GETLINK)
            give(linkMessage(2, "wire", IFF_UP | IFF_RUNNING), visit);
        else if (!(isImpaired && isRouteMissing))
            give(defaultRouteMessage(2), visit);
        return isImpaired ? impairment : Dump::whole;
    }

    static void give(const NetlinkMessage& message, NetlinkSocket::Visitor visit)
    {
        const std::string bytes = message.bytes();
        const void* memory = bytes.data();
        visit(*static_cast<const nlmsghdr*>(memory));
    }

    /// How many dumps from the first on are not whole.
    int impairedDumps = 0;
    Dump impairment = Dump::interrupted;
    bool isRouteMissing = true;
    std::atomic<int> dumps { 0 };
};

class LinuxNetworkWatcherTest : public testing::Test {
protected:
    // No link of the machine's changes here, so the kernel sends no message.
    NetworkNamespace space;
    TemporaryTree tree;
    // Starts the thread.
    Work block;
    // Shared with the watching thread, which may outlive the case.
    std::shared_ptr<ScriptedKernel> kernel = std::make_shared<ScriptedKernel>();
    LinuxNetworkWatcher watcher { SystemFiles(tree.path()),
        [this](Work given) { block = std::move(given); },
        [kernel = kernel](NetlinkSocket&, std::uint16_t type, NetlinkSocket::Visitor visit) {
            return kernel->dump(type, visit);
        } };

    // Starts to watch, and then the thread.
    void start()
    {
        ASSERT_TRUE(watcher.start());
        ASSERT_TRUE(block);
        block();
    }
};

TEST_F(LinuxNetworkWatcherTest, InterruptedReadingIsRepeatedAtOnce)
{
    kernel->impairedDumps = dumpsPerReading;

    ASSERT_TRUE(watcher.start());

    EXPECT_EQ(watcher.connection(), Connection::wifi);
}

TEST_F(LinuxNetworkWatcherTest, ResultOfTheLastInterruptedReadingIsUsed)
{
    kernel->impairedDumps = readingsInARow * dumpsPerReading;
    kernel->isRouteMissing = false;

    ASSERT_TRUE(watcher.start());

    EXPECT_EQ(watcher.connection(), Connection::wifi);
}

TEST_F(LinuxNetworkWatcherTest, EightInterruptedReadingsAtTheStartAreRepeatedLater)
{
    kernel->impairedDumps = readingsInARow * dumpsPerReading;

    start();

    EXPECT_TRUE(eventually([&] { return watcher.connection() == Connection::wifi; }));
}

TEST_F(LinuxNetworkWatcherTest, FailedReadingAtTheStartIsRepeatedLater)
{
    kernel->impairedDumps = 1;
    kernel->impairment = Dump::failed;

    start();

    EXPECT_TRUE(eventually([&] { return watcher.connection() == Connection::wifi; }));
}

TEST_F(LinuxNetworkWatcherTest, TheReadingStandsBeforeTheThreadRuns)
{
    ASSERT_TRUE(watcher.start());
    EXPECT_EQ(watcher.connection(), Connection::wifi);
    ASSERT_TRUE(watcher.start());

    EXPECT_EQ(kernel->dumps, dumpsPerReading);
}

TEST_F(LinuxNetworkWatcherTest, AThreadThatNeverStartedIsStartedByTheNextReading)
{
    detail::noteUse();
    ASSERT_TRUE(watcher.start());
    block = {};

    EXPECT_EQ(watcher.connection(), Connection::wifi);

    EXPECT_EQ(kernel->dumps, 2 * dumpsPerReading);
    EXPECT_TRUE(block);
}

TEST_F(LinuxNetworkWatcherTest, WithoutAThreadTheKernelIsAsked)
{
    detail::noteUse();
    ASSERT_TRUE(watcher.start());
    ASSERT_TRUE(block);

    EXPECT_TRUE(eventually([&] {
        watcher.connection();
        return kernel->dumps > dumpsPerReading;
    }));
    EXPECT_EQ(watcher.connection(), Connection::wifi);
}

TEST_F(LinuxNetworkWatcherTest, AWatcherMayEndAfterItsThreadWithoutASignal)
{
    ASSERT_TRUE(watcher.start());

    block = {};
}

} // namespace
} // namespace telvora::detail
