#include <Telvora/Platform/Curl/CurlConnection.h>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace telvora::detail {
namespace {

/// A connection over loopback whose other end the test holds.
class CurlConnectionTest : public testing::Test {
protected:
    CurlConnectionTest()
    {
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* plain = static_cast<sockaddr*>(static_cast<void*>(&address));
        socklen_t size = sizeof address;
        const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
        EXPECT_EQ(::bind(listener, plain, size), 0);
        EXPECT_EQ(::listen(listener, 1), 0);
        EXPECT_EQ(::getsockname(listener, plain, &size), 0);
        port = ntohs(address.sin_port);

        curl_sockaddr wanted {};
        wanted.family = AF_INET;
        wanted.socktype = SOCK_STREAM;
        socket = connections.open(wanted);
        EXPECT_EQ(::connect(socket, plain, size), 0);
        peer = ::accept(listener, plain, &size);
        localPort = ntohs(address.sin_port);
        ::close(listener);
    }

    ~CurlConnectionTest() override
    {
        ::close(peer);
        if (!connections.all().empty())
            CurlConnections::close(&connections, socket);
    }

    std::shared_ptr<CurlConnection> find()
    {
        return connections.find("127.0.0.1", localPort, "127.0.0.1", port);
    }

    CurlConnections connections;
    curl_socket_t socket = CURL_SOCKET_BAD;
    int peer = -1;
    int port = 0;
    int localPort = 0;
};

TEST_F(CurlConnectionTest, ASocketClosesOnExec)
{
    EXPECT_NE(::fcntl(socket, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(CurlConnectionTest, AConnectionIsFoundByBothItsEnds)
{
    ASSERT_NE(find(), nullptr);
    EXPECT_EQ(find()->socket, socket);
    EXPECT_EQ(connections.find("127.0.0.1", localPort + 1, "127.0.0.1", port), nullptr);
    EXPECT_EQ(connections.find("127.0.0.1", localPort, "127.0.0.2", port), nullptr);
}

TEST_F(CurlConnectionTest, AClosedConnectionIsNotFoundAndKnowsThatItIsClosed)
{
    const std::shared_ptr<CurlConnection> closed = find();
    ASSERT_FALSE(closed->isClosed);

    CurlConnections::close(&connections, socket);

    EXPECT_TRUE(closed->isClosed);

    EXPECT_EQ(find(), nullptr);
    EXPECT_TRUE(connections.all().empty());
}

TEST_F(CurlConnectionTest, AConnectionIsOpenUntilItsPeerClosesIt)
{
    EXPECT_TRUE(find()->isOpen());

    ::shutdown(peer, SHUT_WR);
    pollfd state { socket, POLLRDHUP, 0 };
    ::poll(&state, 1, -1);

    EXPECT_FALSE(find()->isOpen());
}

TEST_F(CurlConnectionTest, UnreadBytesDoNotHideThatThePeerHasClosed)
{
    EXPECT_EQ(::write(peer, "x", 1), 1);
    EXPECT_TRUE(find()->isOpen());
    ::shutdown(peer, SHUT_WR);
    pollfd state { socket, POLLRDHUP, 0 };
    ::poll(&state, 1, -1);

    EXPECT_FALSE(find()->isOpen());
}

} // namespace
} // namespace telvora::detail
