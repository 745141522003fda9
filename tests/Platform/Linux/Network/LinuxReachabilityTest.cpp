#include <tests/Platform/Linux/Network/NetworkNamespace.h>
#include <tests/Platform/ReachabilityContract.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace telvora::detail {
namespace {

using Connection = Reachability::Connection;

INSTANTIATE_TYPED_TEST_SUITE_P(LinuxReachability, ReachabilityContract, NetworkFixture);

class LinuxReachabilityTest : public testing::Test, protected NetworkFixture {
protected:
    /// A tunnel whose other end is the test.
    class Tunnel {
    public:
        explicit Tunnel(const std::string& name)
            : m_descriptor(::open("/dev/net/tun", O_RDWR | O_CLOEXEC))
        {
            ifreq request {};
            name.copy(request.ifr_name, IFNAMSIZ - 1);
            request.ifr_flags = IFF_TUN | IFF_NO_PI;
            m_isOpen = m_descriptor >= 0 && ::ioctl(m_descriptor, TUNSETIFF, &request) == 0;
        }
        ~Tunnel()
        {
            if (m_descriptor >= 0)
                ::close(m_descriptor);
        }
        Tunnel(const Tunnel&) = delete;
        Tunnel& operator=(const Tunnel&) = delete;

        bool isOpen() const { return m_isOpen; }

    private:
        int m_descriptor;
        bool m_isOpen = false;
    };

    /// Makes the kernel send some forty messages a round. In the end nothing has changed.
    void makeChanges(int rounds)
    {
        std::string batch;
        for (int round = 0; round < rounds; ++round) {
            batch += "link set radio down\nlink set radio up\n";
            batch += "route add default via 10.0.1.2\nroute del default\n";
            for (int host = 1; host < 20; ++host)
                batch += "route add 10.9.0." + std::to_string(host) + " via 10.0.0.2\n";
            for (int host = 1; host < 20; ++host)
                batch += "route del 10.9.0." + std::to_string(host) + " via 10.0.0.2\n";
        }
        tree.write("/batch", batch);
        space.ip("-batch " + tree.path() + "/batch");
    }

    void addRoute(const std::string& words) { space.ip("route add default " + words); }
};

using LinuxReachabilityQuirk = LinuxReachabilityTest;

TEST_F(LinuxReachabilityTest, LinksWithoutADefaultRouteAreNoConnection)
{
    if (!canChange())
        return;

    EXPECT_EQ(make()->connection(), Connection::none);
}

TEST_F(LinuxReachabilityTest, ADefaultRouteIsReadBeforeTheFirstObjectIsMade)
{
    if (!canChange())
        return;
    addRoute("via 10.0.0.2");

    EXPECT_EQ(make()->connection(), Connection::wifi);
}

TEST_F(LinuxReachabilityTest, ALinkThatGoesDownTakesTheConnectionAlong)
{
    if (!canChange())
        return;
    addRoute("via 10.0.0.2");
    EXPECT_TRUE(becomes(Connection::wifi));

    space.ip("link set wire down");
    EXPECT_TRUE(becomes(Connection::none));

    space.ip("link set wire up; route add default via 10.0.0.2");
    EXPECT_TRUE(becomes(Connection::wifi));
}

TEST_F(LinuxReachabilityTest, ALostCarrierEndsTheConnectionAndItsReturnRestoresIt)
{
    if (!canChange())
        return;
    addRoute("via 10.0.0.2");
    EXPECT_TRUE(becomes(Connection::wifi));

    space.ip("link set wireEnd down");
    EXPECT_TRUE(becomes(Connection::none));

    space.ip("link set wireEnd up");
    EXPECT_TRUE(becomes(Connection::wifi));
}

TEST_F(LinuxReachabilityTest, ALinkThatIsPulledOutEndsTheConnection)
{
    if (!canChange())
        return;
    addRoute("via 10.0.0.2");
    EXPECT_TRUE(becomes(Connection::wifi));

    space.ip("link del wire");

    EXPECT_TRUE(becomes(Connection::none));
}

TEST_F(LinuxReachabilityTest, IPv6RouteIsEnough)
{
    if (!canChange())
        return;
    make();

    space.ip("-6 addr add 2001:db8::1/64 dev wire nodad; -6 route add default via 2001:db8::2");
    EXPECT_TRUE(becomes(Connection::wifi));

    space.ip("-6 route del default");
    EXPECT_TRUE(becomes(Connection::none));
}

TEST_F(LinuxReachabilityTest, UnreachableRouteIsNoConnection)
{
    if (!canChange())
        return;
    space.ip("route add unreachable default; -6 route add unreachable default metric 4278198272");

    EXPECT_EQ(make()->connection(), Connection::none);
}

TEST_F(LinuxReachabilityTest, ARouteOverTheLoopbackIsNoConnection)
{
    if (!canChange())
        return;
    space.ip("link set lo up; route add default dev lo");

    EXPECT_EQ(make()->connection(), Connection::none);
}

TEST_F(LinuxReachabilityTest, TheCheaperRouteDecides)
{
    if (!canChange())
        return;
    addRoute("via 10.0.1.2 metric 700");
    addRoute("via 10.0.0.2 metric 600");
    EXPECT_TRUE(becomes(Connection::wifi));

    space.ip("link set wireEnd down");
    EXPECT_TRUE(becomes(Connection::cellular));

    space.ip("link set wireEnd up");
    EXPECT_TRUE(becomes(Connection::wifi));
}

TEST_F(LinuxReachabilityTest, ARouteOverTwoLinksIsAsGoodAsOne)
{
    if (!canChange())
        return;
    addRoute("nexthop via 10.0.0.2 dev wire nexthop via 10.0.1.2 dev radio");
    EXPECT_TRUE(becomes(Connection::wifi));

    space.ip("link set wireEnd down");
    EXPECT_TRUE(becomes(Connection::cellular));
}

TEST_F(LinuxReachabilityQuirk, TheKindOfALinkComesFromTheSystemAndNotFromItsName)
{
    if (!canChange())
        return;
    space.ip("link set radio down; link set radio name wlan0; link set wlan0 up");
    addRoute("via 10.0.1.2");
    EXPECT_TRUE(becomes(Connection::wifi));
    space.ip("route del default");
    EXPECT_TRUE(becomes(Connection::none));

    playLink("wlan0", "uevent", "DEVTYPE=wwan\n");
    addRoute("via 10.0.1.2");
    EXPECT_TRUE(becomes(Connection::cellular));
    space.ip("route del default");
    EXPECT_TRUE(becomes(Connection::none));

    playLink("wlan0", "uevent", "DEVTYPE=wlan\n");
    addRoute("via 10.0.1.2");
    EXPECT_TRUE(becomes(Connection::wifi));
}

TEST_F(LinuxReachabilityTest, ABridgeIsWhatItIsMadeOf)
{
    if (!canChange())
        return;
    space.ip("link add bridge type bridge; link set radio master bridge;"
             "addr add 10.0.2.1/24 dev bridge; link set bridge up");
    ASSERT_TRUE(becomes(Connection::none));
    addRoute("via 10.0.2.2");
    EXPECT_TRUE(becomes(Connection::cellular));

    space.ip("link set wire master bridge");
    EXPECT_TRUE(becomes(Connection::wifi));

    space.ip("link set wire nomaster");
    EXPECT_TRUE(becomes(Connection::cellular));
}

TEST_F(LinuxReachabilityTest, ATunnelIsWhatItIsStackedOn)
{
    if (!canChange())
        return;
    space.ip("link add stacked link radio type macvlan; addr add 10.0.2.1/24 dev stacked;"
             "link set stacked up");
    playLink("stacked", "uevent", "DEVTYPE=wireguard\n");

    addRoute("via 10.0.2.2");

    EXPECT_TRUE(becomes(Connection::cellular));
}

TEST_F(LinuxReachabilityTest, ATunnelOverNothingKnownIsTheNextRoute)
{
    if (!canChange())
        return;
    const Tunnel tunnel("tunnel");
    if (!tunnel.isOpen())
        return noteNotRun("this machine gives no tunnel (/dev/net/tun)");
    space.ip("addr add 10.0.3.1/24 dev tunnel; link set tunnel up");
    addRoute("dev tunnel metric 50");
    EXPECT_TRUE(becomes(Connection::wifi));

    addRoute("via 10.0.1.2 metric 700");
    EXPECT_TRUE(becomes(Connection::cellular));

    addRoute("via 10.0.0.2 metric 600");
    EXPECT_TRUE(becomes(Connection::wifi));
}

TEST_F(LinuxReachabilityTest, ManyChangesEndInTheRightConnection)
{
    if (!canChange())
        return;
    const auto object = make();

    makeChanges(400);
    addRoute("via 10.0.1.2");

    EXPECT_TRUE(becomes(Connection::cellular));
}

TEST_F(LinuxReachabilityTest, ConnectionIsRightAfterTheKernelDroppedMessages)
{
    if (!canChange())
        return;
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const auto object = make();
        const bool isTold = ::write(ready[1], "r", 1) == 1;
        ::_exit(isTold && becomes(Connection::cellular) ? 0 : 1);
    }
    char letter = 0;
    ASSERT_EQ(::read(ready[0], &letter, 1), 1);

    // While the child is stopped, its socket fills up and the last messages are lost.
    ::kill(child, SIGSTOP);
    makeChanges(400);
    addRoute("via 10.0.1.2");
    ::kill(child, SIGCONT);

    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

} // namespace
} // namespace telvora::detail
