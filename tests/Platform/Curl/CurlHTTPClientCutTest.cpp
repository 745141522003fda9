#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <future>
#include <map>
#include <string>
#include <thread>

// A server that ends a connection within a request or an answer, after each number of bytes. No
// request arrives twice, although libcurl repeats one on its own when a kept connection dies.

namespace telvora::detail {
namespace {

constexpr std::string_view wholeAnswer
    = "HTTP/1.1 200 OK\r\nContent-Length: 16\r\n\r\n{\"success\":true}";

// One connection after another. Answers each request, but for the second one of the first
// connection.
class CuttingServer {
public:
    enum class Manner {
        // Reads `bytes` bytes of the request, then closes or resets the connection.
        closeInRequest,
        resetInRequest,
        // Reads the request, sends `bytes` bytes of the answer, then closes the connection.
        closeInAnswer,
        // Neither reads nor closes.
        ignore,
    };

    CuttingServer(Manner manner, std::size_t bytes)
        : m_manner(manner)
        , m_bytes(bytes)
    {
        m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(m_listener, any, length), 0);
        EXPECT_EQ(::listen(m_listener, 8), 0);
        EXPECT_EQ(::getsockname(m_listener, any, &length), 0);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { run(); });
    }

    ~CuttingServer()
    {
        end();
        ::close(m_listener);
    }

    // Ends the server; the client must have been destroyed.
    void end()
    {
        ::shutdown(m_listener, SHUT_RDWR);
        if (m_thread.joinable())
            m_thread.join();
    }

    // Until the first connection is closed. A client that sends a request before it has learnt of
    // that cannot know what became of the request.
    void waitForCut() { m_isCut.get_future().wait(); }

    int port() const { return m_port; }
    std::string url(const std::string& target) const
    {
        return "http://127.0.0.1:" + std::to_string(m_port) + target;
    }

    // How often a request to `target` arrived as a whole. After end().
    int arrived(const std::string& target) const
    {
        const auto found = m_arrived.find(target);
        return found == m_arrived.end() ? 0 : found->second;
    }

    // Whether the whole request was read, or the whole answer sent. After end().
    bool cutBehindTheEnd() const { return m_cutBehindTheEnd; }

private:
    void run()
    {
        int ignored = -1;
        for (bool isFirst = true;; isFirst = false) {
            const int connection = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (connection < 0)
                break;
            if (isFirst && answer(connection) && m_manner == Manner::ignore) {
                ignored = connection;
                continue;
            }
            if (isFirst)
                cut(connection);
            else
                while (answer(connection)) { }
            ::close(connection);
            if (isFirst)
                m_isCut.set_value();
        }
        if (ignored >= 0)
            ::close(ignored);
    }

    // The client sends no request before it has the answer to the last one, so none is cut here.
    bool readRequest(int connection)
    {
        std::string request;
        std::array<char, 65'536> piece;
        while (!request.ends_with("{body}")) {
            const ssize_t count = ::recv(connection, piece.data(), piece.size(), 0);
            if (count <= 0)
                return false;
            request.append(piece.data(), static_cast<std::size_t>(count));
        }
        ++m_arrived[request.substr(5, request.find(' ', 5) - 5)];
        return true;
    }

    static void write(int connection, std::string_view bytes)
    {
        EXPECT_EQ(::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(bytes.size()));
    }

    bool answer(int connection)
    {
        if (!readRequest(connection))
            return false;
        write(connection, wholeAnswer);
        return true;
    }

    void cut(int connection)
    {
        if (m_manner == Manner::closeInAnswer) {
            if (readRequest(connection))
                write(connection, wholeAnswer.substr(0, m_bytes));
            m_cutBehindTheEnd = m_bytes == wholeAnswer.size();
            return;
        }
        std::string request(m_bytes, '\0');
        EXPECT_EQ(::recv(connection, request.data(), m_bytes, MSG_WAITALL),
            static_cast<ssize_t>(m_bytes));
        if (request.ends_with("{body}")) {
            m_cutBehindTheEnd = true;
            ++m_arrived["/second"];
        }
        if (m_manner == Manner::resetInRequest) {
            const linger atOnce { 1, 0 };
            ::setsockopt(connection, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
        }
    }

    const Manner m_manner;
    const std::size_t m_bytes;
    int m_listener = -1;
    int m_port = 0;
    std::map<std::string, int> m_arrived;
    bool m_cutBehindTheEnd = false;
    std::promise<void> m_isCut;
    std::thread m_thread;
};

using Manner = CuttingServer::Manner;

CurlHTTPOptions oneConnection()
{
    CurlHTTPOptions options;
    options.connectionsPerHost = 1;
    options.maximumConnectionsPerHost = 1;
    return options;
}

// `padding` makes the request longer.
HTTPAnswer answerFrom(HTTPClient& client, const CuttingServer& server, const std::string& target,
    const std::string& padding = "")
{
    return answerTo(client, { server.url(target), "POST", {}, padding + "{body}" });
}

class CurlHTTPClientCutTest : public testing::TestWithParam<Manner> { };

std::string nameOf(const testing::TestParamInfo<Manner>& info)
{
    switch (info.param) {
    case Manner::closeInRequest:
        return "closeInRequest";
    case Manner::resetInRequest:
        return "resetInRequest";
    case Manner::closeInAnswer:
        return "closeInAnswer";
    case Manner::ignore:
        break;
    }
    return "ignore";
}

INSTANTIATE_TEST_SUITE_P(Manners, CurlHTTPClientCutTest,
    testing::Values(Manner::closeInRequest, Manner::resetInRequest, Manner::closeInAnswer), nameOf);

TEST_P(CurlHTTPClientCutTest, NoRequestArrivesTwiceWhereverTheConnectionEnds)
{
    // To the end of the request or of the answer.
    bool isWhole = false;
    for (std::size_t bytes = 0; !isWhole; ++bytes) {
        SCOPED_TRACE(bytes);
        CuttingServer server(GetParam(), bytes);
        HTTPAnswer second;
        {
            RealHTTPClient client(oneConnection());
            EXPECT_EQ(answerFrom(client, server, "/first").error, std::nullopt);
            second = answerFrom(client, server, "/second");
            server.waitForCut();
            EXPECT_EQ(answerFrom(client, server, "/third").error, std::nullopt);
        }
        server.end();

        EXPECT_EQ(server.arrived("/first"), 1);
        EXPECT_EQ(server.arrived("/third"), 1);
        EXPECT_LE(server.arrived("/second"), 1);
        EXPECT_TRUE(!second.data || server.arrived("/second") == 1);
        isWhole = server.cutBehindTheEnd();
    }
}

// libcurl sends a long request in several pieces, so the connection may end between two of them.
TEST(CurlHTTPClientLongCutTest, NoLongRequestArrivesTwice)
{
    const std::string padding(300'000, ' ');
    for (const Manner manner : { Manner::closeInRequest, Manner::resetInRequest }) {
        for (const unsigned bytes : { 1u, 300u, 16'384u, 65'535u, 65'536u, 65'537u, 299'999u }) {
            SCOPED_TRACE(bytes);
            CuttingServer server(manner, bytes);
            {
                RealHTTPClient client(oneConnection());
                EXPECT_EQ(answerFrom(client, server, "/first").error, std::nullopt);
                EXPECT_NE(answerFrom(client, server, "/second", padding).error, std::nullopt);
                server.waitForCut();
                EXPECT_EQ(answerFrom(client, server, "/third", padding).error, std::nullopt);
            }
            server.end();

            EXPECT_EQ(server.arrived("/second"), 0);
            EXPECT_EQ(server.arrived("/third"), 1);
        }
    }
}

// The sockets of this process that are connected to the port.
std::vector<int> socketsTo(int port)
{
    std::vector<int> sockets;
    for (int number = 0; number < 1024; ++number) {
        sockaddr_in address {};
        socklen_t length = sizeof(address);
        if (::getpeername(number, reinterpret_cast<sockaddr*>(&address), &length) == 0
            && address.sin_family == AF_INET && ntohs(address.sin_port) == port)
            sockets.push_back(number);
    }
    return sockets;
}

// Sending fails at the first byte, although the server has not closed the connection.
TEST(CurlHTTPClientUnsentTest, RequestOfWhichNoByteWasSentIsSentAgain)
{
    CuttingServer server(Manner::ignore, 0);
    HTTPAnswer second;
    {
        RealHTTPClient client(oneConnection());
        EXPECT_EQ(answerFrom(client, server, "/first").error, std::nullopt);
        const std::vector<int> sockets = socketsTo(server.port());
        ASSERT_EQ(sockets.size(), 1U);
        ASSERT_EQ(::shutdown(sockets.front(), SHUT_WR), 0);
        second = answerFrom(client, server, "/second");
    }
    server.end();

    EXPECT_EQ(second.error, std::nullopt);
    EXPECT_EQ(server.arrived("/second"), 1);
}

// libcurl gives up before the first byte of a head that is too long. Another try would do the same.
TEST(CurlHTTPClientUnsentTest, RequestThatFailsOnANewConnectionIsNotSentAgain)
{
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    RealHTTPClient client;

    const HTTPAnswer answer = answerTo(
        client, { server.url(), "POST", { { "X-Long", std::string(2'000'000, 'x') } }, "{}" });

    EXPECT_NE(answer.error, std::nullopt);
    EXPECT_LE(server.connections(), 1U);
    EXPECT_TRUE(server.received().empty());
}

TEST(CurlHTTPClientUnsentTest, RequestWhoseHeadIsTooLongForAKeptConnectionIsNotSentAgain)
{
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    RealHTTPClient client(oneConnection());
    answerTo(client, { server.url(), "POST", {}, "{}" });

    const HTTPAnswer answer = answerTo(
        client, { server.url(), "POST", { { "X-Long", std::string(2'000'000, 'x') } }, "{}" });

    EXPECT_NE(answer.error, std::nullopt);
    EXPECT_NE(answer.error, "Refused by the server");
    EXPECT_EQ(server.received().size(), 1U);
}

} // namespace
} // namespace telvora::detail
