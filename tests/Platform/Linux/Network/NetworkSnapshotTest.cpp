#include <Telvora/Platform/Linux/Network/NetworkSnapshot.h>

#include <tests/Platform/Linux/Machine/TemporaryTree.h>
#include <tests/Platform/Linux/Network/NetlinkMessages.h>

#include <gtest/gtest.h>

#include <vector>

#include <linux/if.h>
#include <linux/if_arp.h>

namespace telvora::detail {
namespace {

using Connection = Reachability::Connection;

constexpr unsigned usable = IFF_UP | IFF_RUNNING;

class NetworkSnapshotTest : public testing::Test {
protected:
    /// Adds a message from memory that ends with it, so that the sanitizer sees a read behind it.
    void add(const std::string& bytes)
    {
        const std::vector<char> exact(bytes.begin(), bytes.end());
        const void* memory = exact.data();
        snapshot.add(*static_cast<const nlmsghdr*>(memory));
    }

    void add(const NetlinkMessage& message) { add(message.bytes()); }

    Connection connection() { return snapshot.connection(SystemFiles(tree.path())); }

    bool concerns(const NetlinkMessage& message)
    {
        const std::string bytes = message.bytes();
        const void* memory = bytes.data();
        return concernsConnection(*static_cast<const nlmsghdr*>(memory));
    }

    TemporaryTree tree;
    NetworkSnapshot snapshot;
};

TEST_F(NetworkSnapshotTest, WithoutARouteThereIsNoConnection)
{
    EXPECT_EQ(connection(), Connection::none);

    add(linkMessage(2, "wire", usable));

    EXPECT_EQ(connection(), Connection::none);
}

TEST_F(NetworkSnapshotTest, ARouteOverALinkThatCanSendIsAConnection)
{
    add(linkMessage(2, "wire", usable));
    add(defaultRouteMessage(2));

    EXPECT_EQ(connection(), Connection::wifi);
}

TEST_F(NetworkSnapshotTest, ARouteOverALinkThatCannotSendIsNone)
{
    add(linkMessage(2, "down", IFF_RUNNING));
    add(linkMessage(3, "noCarrier", IFF_UP));
    add(linkMessage(4, "lo", usable | IFF_LOOPBACK));
    for (const int link : { 2, 3, 4, 5 })
        add(defaultRouteMessage(link));

    EXPECT_EQ(connection(), Connection::none);
}

TEST_F(NetworkSnapshotTest, TheRouteOfTheLowestMetricDecides)
{
    add(linkMessage(2, "wire", usable));
    add(linkMessage(3, "modem", usable, ARPHRD_RAWIP));
    add(defaultRouteMessage(2, 700));
    EXPECT_EQ(connection(), Connection::wifi);

    add(defaultRouteMessage(3, 600));
    EXPECT_EQ(connection(), Connection::cellular);
}

TEST_F(NetworkSnapshotTest, APPPLinkIsAModemUnlessTheKernelListsASessionOverEthernet)
{
    add(linkMessage(2, "ppp0", usable, ARPHRD_PPP));
    add(defaultRouteMessage(2));
    tree.write("/proc/net/pppoe", "Id       Address              Device\n");
    EXPECT_EQ(connection(), Connection::cellular);

    tree.write("/proc/net/pppoe",
        "Id       Address              Device\n00000001 00:16:3e:00:00:01 eth0\n");
    EXPECT_EQ(connection(), Connection::wifi);
}

TEST_F(NetworkSnapshotTest, AWirelessLinkIsFixedWhateverItsTypeSays)
{
    add(linkMessage(2, "radio", usable, ARPHRD_RAWIP));
    add(defaultRouteMessage(2));
    EXPECT_EQ(connection(), Connection::cellular);

    tree.write("/sys/class/net/radio/phy80211/name", "phy0\n");
    EXPECT_EQ(connection(), Connection::wifi);
}

TEST_F(NetworkSnapshotTest, IPv4RouteGoesBeforeIPv6)
{
    add(linkMessage(2, "wire", usable));
    add(linkMessage(3, "modem", usable, ARPHRD_RAWIP));
    add(defaultRouteMessage(2, 0, AF_INET6));
    add(defaultRouteMessage(3, 900, AF_INET));

    EXPECT_EQ(connection(), Connection::cellular);
}

TEST_F(NetworkSnapshotTest, OnlyLinksAndDefaultRoutesConcernTheConnection)
{
    rtmsg network {};
    network.rtm_family = AF_INET;
    network.rtm_dst_len = 24;
    network.rtm_type = RTN_UNICAST;
    ifinfomsg port {};
    port.ifi_family = AF_BRIDGE;

    EXPECT_TRUE(concerns(linkMessage(2, "wire", usable)));
    EXPECT_TRUE(concerns(linkMessage(2, "wire", usable, 1, RTM_DELLINK)));
    EXPECT_TRUE(concerns(defaultRouteMessage(2)));
    EXPECT_FALSE(concerns(NetlinkMessage(RTM_NEWROUTE, network)));
    EXPECT_FALSE(concerns(NetlinkMessage(RTM_NEWLINK, port)));
    EXPECT_FALSE(concerns(NetlinkMessage(RTM_NEWADDR, ifinfomsg {})));
}

TEST_F(NetworkSnapshotTest, MessagesThatAreCutOffAreSafe)
{
    const std::string link = linkMessage(2, "wire", usable).bytes();
    const std::string route = defaultRouteMessage(2).bytes();
    for (const std::string& whole : { link, route }) {
        for (std::size_t size = sizeof(nlmsghdr); size < whole.size(); ++size) {
            std::string part = whole.substr(0, size);
            const auto length = static_cast<std::uint32_t>(size);
            std::memcpy(part.data(), &length, sizeof length);
            add(part);
        }
    }

    EXPECT_NE(connection(), Connection::cellular);
}

TEST_F(NetworkSnapshotTest, AttributesWithWrongLengthsAreSafe)
{
    for (const unsigned short length :
        std::initializer_list<unsigned short> { 0, 1, 3, 4, 5, 200, 65535 }) {
        std::string bytes = defaultRouteMessage(2).bytes();
        std::memcpy(bytes.data() + NLMSG_SPACE(sizeof(rtmsg)), &length, sizeof length);
        add(bytes);
    }
    add(linkMessage(2, "wire", usable));

    EXPECT_NE(connection(), Connection::cellular);
}

} // namespace
} // namespace telvora::detail
