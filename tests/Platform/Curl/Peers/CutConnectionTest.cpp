#include <tests/Platform/Curl/Peers/Nginx.h>
#include <tests/Platform/Curl/Peers/PeerTesting.h>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <string>
#include <thread>
#include <vector>

// A connection to nginx that ends within a request, after a number of bytes: plain, over TLS, and
// over HTTP/2. No request arrives twice.

namespace telvora::detail {
namespace {

using Protocol = Nginx::Protocol;

sockaddr_in addressOf(const std::string& address, int port)
{
    sockaddr_in result {};
    result.sin_family = AF_INET;
    result.sin_port = htons(static_cast<std::uint16_t>(port));
    EXPECT_EQ(::inet_pton(AF_INET, address.c_str(), &result.sin_addr), 1);
    return result;
}

/// Passes bytes on between a client and a server, one connection after another.
class CuttingProxy {
public:
    CuttingProxy(const std::string& address, int serverPort)
        : m_server(addressOf(address, serverPort))
    {
        m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in own = addressOf(address, 0);
        socklen_t length = sizeof(own);
        auto* const any = reinterpret_cast<sockaddr*>(&own);
        EXPECT_EQ(::bind(m_listener, any, length), 0);
        EXPECT_EQ(::listen(m_listener, 8), 0);
        EXPECT_EQ(::getsockname(m_listener, any, &length), 0);
        m_port = ntohs(own.sin_port);
        m_thread = std::thread([this] { run(); });
    }

    /// The client must have been destroyed.
    ~CuttingProxy()
    {
        ::shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        ::close(m_listener);
    }

    int port() const { return m_port; }

    /// Once the client has sent so many bytes more, its connection ends.
    void cutAfter(std::size_t bytes) { m_left = bytes; }
    /// Whether it has not come to that; no connection ends any more.
    bool takeBack() { return m_left.exchange(never) > 0; }

private:
    static constexpr std::size_t never = std::numeric_limits<std::size_t>::max();

    void run()
    {
        while (true) {
            const int client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0)
                return;
            const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            EXPECT_EQ(
                ::connect(server, reinterpret_cast<const sockaddr*>(&m_server), sizeof(m_server)),
                0);
            const int yes = 1;
            for (const int socket : { client, server })
                ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
            std::array<pollfd, 2> both { pollfd { client, POLLIN, 0 }, { server, POLLIN, 0 } };
            do {
                ::poll(both.data(), both.size(), -1);
            } while ((both[0].revents == 0 || passFromClient(client, server))
                && (both[1].revents == 0 || pass(server, client, never) > 0));
            ::close(client);
            ::close(server);
        }
    }

    bool passFromClient(int client, int server)
    {
        const std::size_t left = m_left;
        const ssize_t count = left > 0 ? pass(client, server, left) : 0;
        if (count <= 0)
            return false;
        if (left == never)
            return true;
        m_left = left - static_cast<std::size_t>(count);
        return m_left > 0;
    }

    // How many bytes it has passed on, which are no more than `most`; 0 or less at the end.
    static ssize_t pass(int from, int to, std::size_t most)
    {
        std::array<char, 65'536> bytes;
        const ssize_t count = ::recv(from, bytes.data(), std::min(most, bytes.size()), 0);
        for (ssize_t sent = 0; sent < count;) {
            const ssize_t more = ::send(
                to, bytes.data() + sent, static_cast<std::size_t>(count - sent), MSG_NOSIGNAL);
            if (more <= 0)
                return more;
            sent += more;
        }
        return count;
    }

    const sockaddr_in m_server;
    int m_listener = -1;
    int m_port = 0;
    std::atomic<std::size_t> m_left { never };
    std::thread m_thread;
};

class CutConnectionTest : public testing::TestWithParam<Protocol> {
protected:
    // Sends three requests, with the numbers `first` to `first` + 2, and ends the connection within
    // the second one. False if that one has no more than so many bytes.
    bool cut(int first, std::size_t bytes, std::size_t bodyBytes)
    {
        CuttingProxy proxy(nginx.peer().address(), Nginx::port(GetParam()));
        CurlHTTPOptions options = trusting(nginx.peer());
        options.connectionsPerHost = 1;
        options.maximumConnectionsPerHost = 1;
        RealHTTPClient client(options);
        const auto answer = [&](int number, std::size_t itsBytes) {
            HTTPRequest request = postTo((GetParam() == Protocol::plain ? "http://" : "https://")
                    + nginx.peer().address() + ":" + std::to_string(proxy.port()) + "/whole",
                std::string(itsBytes, 'x'));
            request.headers.emplace_back("x-number", std::to_string(number));
            return answerTo(client, std::move(request));
        };

        EXPECT_EQ(answer(first, 2).error, std::nullopt);
        proxy.cutAfter(bytes);
        const bool isAnswered = !answer(first + 1, bodyBytes).error;
        const bool isCut = !proxy.takeBack();
        EXPECT_EQ(answer(first + 2, 2).error, std::nullopt);
        answered += isAnswered ? 3 : 2;
        return isCut;
    }

    void expectThatNoneArrivedTwice() const
    {
        const std::vector<int> numbers = nginx.answered(answered);
        EXPECT_GE(numbers.size(), answered);
        EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end()), numbers.end());
    }

    // Writes down the requests that have arrived as a whole.
    Nginx nginx { { .server = "access_log off;",
        .locations = "location = /whole { access_log answered number if=$upstream_addr;"
                     " proxy_pass http://collector; }" } };
    std::size_t answered = 0;
};

INSTANTIATE_TEST_SUITE_P(Protocols, CutConnectionTest,
    testing::Values(Protocol::plain, Protocol::secure, Protocol::http2),
    testing::PrintToStringParamName());

TEST_P(CutConnectionTest, NoRequestArrivesTwiceWhereverTheConnectionEnds)
{
    // Each byte at first; then each record and frame has its turn.
    int number = 1;
    for (std::size_t bytes = 1; cut(number, bytes, 500); bytes += bytes < 40 ? 1 : 9)
        number += 3;

    EXPECT_GT(number, 3 * 40);
    expectThatNoneArrivedTwice();
}

TEST_P(CutConnectionTest, NoLongRequestArrivesTwice)
{
    // Within the first record of TLS, at its end, in the next ones, and in the last one.
    int number = 1;
    for (const unsigned bytes :
        { 1u, 1000u, 16'384u, 16'500u, 33'000u, 65'536u, 70'000u, 99'000u }) {
        EXPECT_TRUE(cut(number, bytes, 100'000));
        number += 3;
    }

    expectThatNoneArrivedTwice();
}

} // namespace
} // namespace telvora::detail
