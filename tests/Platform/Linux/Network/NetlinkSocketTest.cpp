#include <Telvora/Platform/Linux/Network/NetlinkSocket.h>

#include <tests/Platform/Linux/Network/NetlinkMessages.h>

#include <gtest/gtest.h>

#include <vector>

namespace telvora::detail {
namespace {

/// The types of the messages that are found in `datagram`, which lies where nothing may be read
/// behind it.
std::vector<int> typesIn(const std::string& datagram)
{
    const std::vector<char> exact(datagram.begin(), datagram.end());
    std::vector<int> types;
    NetlinkSocket::visitMessages(exact.data(), exact.size(),
        [&](const nlmsghdr& message) { types.push_back(message.nlmsg_type); });
    return types;
}

TEST(NetlinkSocketTest, EveryMessageOfADatagramIsVisitedInItsOrder)
{
    const std::string datagram = linkMessage(1, "lo", 0).bytes() + defaultRouteMessage(2).bytes();

    EXPECT_EQ(typesIn(datagram), (std::vector<int> { RTM_NEWLINK, RTM_NEWROUTE }));
}

TEST(NetlinkSocketTest, AMessageThatIsCutOffEndsTheDatagram)
{
    const std::string first = linkMessage(1, "lo", 0).bytes();
    const std::string datagram = first + defaultRouteMessage(2).bytes();

    for (std::size_t size = 0; size < datagram.size(); ++size) {
        const std::size_t expected = size < first.size() ? 0 : 1;
        EXPECT_EQ(typesIn(datagram.substr(0, size)).size(), expected) << size;
    }
}

TEST(NetlinkSocketTest, AMessageShorterThanItsHeaderEndsTheDatagram)
{
    for (const std::uint32_t length : { 0U, 1U, 15U }) {
        std::string datagram = linkMessage(1, "lo", 0).bytes();
        std::memcpy(datagram.data(), &length, sizeof length);

        EXPECT_TRUE(typesIn(datagram).empty()) << length;
    }
}

TEST(NetlinkSocketTest, ALastMessageWithoutItsPaddingIsVisited)
{
    std::string datagram = linkMessage(1, "lo", 0).bytes();
    const auto length = static_cast<std::uint32_t>(datagram.size() - 1);
    std::memcpy(datagram.data(), &length, sizeof length);
    datagram.pop_back();

    EXPECT_EQ(typesIn(datagram).size(), 1U);
}

TEST(NetlinkSocketTest, ADumpOfTheKernelsLinksIsWhole)
{
    const auto socket = NetlinkSocket::open(0);
    ASSERT_NE(socket, nullptr);
    int links = 0;

    // A machine whose links change just now is asked again.
    NetlinkSocket::Dump dump = NetlinkSocket::Dump::interrupted;
    for (int attempt = 0; attempt < 100 && dump == NetlinkSocket::Dump::interrupted; ++attempt) {
        dump = socket->dump(RTM_GETLINK, AF_UNSPEC,
            [&](const nlmsghdr& message) { links += message.nlmsg_type == RTM_NEWLINK; });
    }

    EXPECT_EQ(dump, NetlinkSocket::Dump::whole);
    EXPECT_GE(links, 1);
}

TEST(NetlinkSocketTest, ADumpOfSomethingUnknownFails)
{
    const auto socket = NetlinkSocket::open(0);
    ASSERT_NE(socket, nullptr);

    EXPECT_EQ(socket->dump(0x7FFF, AF_UNSPEC, [](const nlmsghdr&) {}), NetlinkSocket::Dump::failed);
}

} // namespace
} // namespace telvora::detail
