#include <Telvora/Platform/Linux/Network/NetlinkSocket.h>

#include <tests/Platform/Linux/Network/NetlinkMessages.h>
#include <tests/Platform/Linux/Network/NetworkNamespace.h>

#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include <sys/socket.h>

namespace telvora::detail {
namespace {

/// The types of the messages that are found in `datagram`. It is copied to memory that ends with
/// it, so that the sanitizer sees a read behind it.
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

    // The machine's links may change during the dump.
    NetlinkSocket::Dump dump = NetlinkSocket::Dump::interrupted;
    for (int attempt = 0; attempt < 100 && dump == NetlinkSocket::Dump::interrupted; ++attempt) {
        dump = socket->dump(RTM_GETLINK,
            [&](const nlmsghdr& message) { links += message.nlmsg_type == RTM_NEWLINK; });
    }

    EXPECT_EQ(dump, NetlinkSocket::Dump::whole);
    EXPECT_GE(links, 1);
}

TEST(NetlinkSocketTest, ADumpOfSomethingUnknownFails)
{
    const auto socket = NetlinkSocket::open(0);
    ASSERT_NE(socket, nullptr);

    EXPECT_EQ(socket->dump(0x7FFF, [](const nlmsghdr&) {}), NetlinkSocket::Dump::failed);
}

/// A socket at whose other end the case plays the kernel.
class NetlinkSocketAnswerTest : public testing::Test {
protected:
    NetlinkSocketAnswerTest()
    {
        int ends[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
        m_kernel = Descriptor(ends[0]);
        socket.emplace(Descriptor(ends[1]));
    }

    void give(const std::string& datagram)
    {
        EXPECT_EQ(::send(m_kernel.number(), datagram.data(), datagram.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(datagram.size()));
    }

    /// The end of the answer to the first request.
    static NetlinkMessage done() { return NetlinkMessage(NLMSG_DONE, 0).to(1); }

    NetlinkSocket::Dump dumpLinks()
    {
        return socket->dump(RTM_GETLINK,
            [&](const nlmsghdr& message) { links += message.nlmsg_type == RTM_NEWLINK; });
    }

    std::optional<NetlinkSocket> socket;
    int links = 0;

private:
    Descriptor m_kernel;
};

TEST_F(NetlinkSocketAnswerTest, DumpDuringWhichSomethingChangedIsInterrupted)
{
    give(linkMessage(1, "lo", 0).to(1).bytes());
    give(linkMessage(2, "wire", 0).to(1, NLM_F_DUMP_INTR).bytes());
    give(linkMessage(3, "radio", 0).to(1).bytes() + done().bytes());

    EXPECT_EQ(dumpLinks(), NetlinkSocket::Dump::interrupted);
    EXPECT_EQ(links, 3);
}

TEST_F(NetlinkSocketAnswerTest, DumpWhoseEndSaysThatSomethingChangedIsInterrupted)
{
    give(linkMessage(1, "lo", 0).to(1).bytes() + done().to(1, NLM_F_DUMP_INTR).bytes());

    EXPECT_EQ(dumpLinks(), NetlinkSocket::Dump::interrupted);
}

TEST_F(NetlinkSocketAnswerTest, AnswerToAnEarlierRequestDoesNotInterruptADump)
{
    give(linkMessage(1, "lo", 0).to(0, NLM_F_DUMP_INTR).bytes());
    give(linkMessage(2, "wire", 0).to(1).bytes() + done().bytes());

    EXPECT_EQ(dumpLinks(), NetlinkSocket::Dump::whole);
    EXPECT_EQ(links, 1);
}

TEST_F(NetlinkSocketAnswerTest, DatagramThatIsTooLongIsLost)
{
    give(std::string(64 * 1024, '\0'));

    EXPECT_EQ(socket->read([](const nlmsghdr&) {}), NetlinkSocket::Reading::lost);
    EXPECT_EQ(socket->read([](const nlmsghdr&) {}), NetlinkSocket::Reading::nothing);
}

TEST(NetlinkSocketTest, MessagesThatTheKernelDroppedAreReportedAsLost)
{
    NetworkFixture network;
    if (!network.canChange())
        return;
    const auto socket = NetlinkSocket::open(RTMGRP_LINK);
    ASSERT_NE(socket, nullptr);
    const int smallest = 1;
    ::setsockopt(socket->descriptor().number(), SOL_SOCKET, SO_RCVBUF, &smallest, sizeof smallest);

    for (int round = 0; round < 10; ++round)
        network.space.ip("link set wire down; link set wire up");

    EXPECT_EQ(socket->read([](const nlmsghdr&) {}), NetlinkSocket::Reading::lost);
}

} // namespace
} // namespace telvora::detail
