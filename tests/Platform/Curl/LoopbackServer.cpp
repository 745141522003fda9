#include <tests/Platform/Curl/LoopbackServer.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>

namespace telvora::detail {

namespace {

/// Takes one request off the front of what a socket brings; nothing once it is at its end.
class RequestReader {
public:
    explicit RequestReader(int socket)
        : m_socket(socket)
    {
    }

    std::optional<LoopbackRequest> next()
    {
        std::size_t end = 0;
        while ((end = m_bytes.find("\r\n\r\n")) == std::string::npos) {
            if (!readMore())
                return {};
        }
        LoopbackRequest request = parse(m_bytes.substr(0, end + 2));
        std::size_t length = std::strtoul(request.header("Content-Length").c_str(), nullptr, 10);
        while (m_bytes.size() < end + 4 + length) {
            if (!readMore())
                return {};
        }
        request.body = m_bytes.substr(end + 4, length);
        m_bytes.erase(0, end + 4 + length);
        return request;
    }

private:
    static LoopbackRequest parse(const std::string& head)
    {
        LoopbackRequest request;
        std::size_t lineEnd = head.find("\r\n");
        std::size_t firstSpace = head.find(' ');
        std::size_t lastSpace = head.rfind(' ', lineEnd);
        request.method = head.substr(0, firstSpace);
        request.target = head.substr(firstSpace + 1, lastSpace - firstSpace - 1);
        while (lineEnd + 2 < head.size()) {
            std::size_t start = lineEnd + 2;
            lineEnd = head.find("\r\n", start);
            std::string line = head.substr(start, lineEnd - start);
            std::size_t colon = line.find(':');
            std::size_t value = line.find_first_not_of(' ', colon + 1);
            request.headers.emplace_back(
                line.substr(0, colon), value == std::string::npos ? "" : line.substr(value));
        }
        return request;
    }

    bool readMore()
    {
        char buffer[65536];
        ssize_t count = recv(m_socket, buffer, sizeof(buffer), 0);
        if (count > 0)
            m_bytes.append(buffer, static_cast<std::size_t>(count));
        return count > 0;
    }

    int m_socket;
    std::string m_bytes;
};

void resetOnClose(int socket)
{
    linger atOnce { 1, 0 };
    setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
}

sockaddr* generic(sockaddr_in& address)
{
    return reinterpret_cast<sockaddr*>(&address);
}

} // namespace

std::string LoopbackRequest::header(const std::string& name) const
{
    for (const auto& [candidate, value] : headers) {
        if (strcasecmp(candidate.c_str(), name.c_str()) == 0)
            return value;
    }
    return {};
}

std::vector<std::string> LoopbackRequest::headerNames() const
{
    std::vector<std::string> names;
    for (const auto& header : headers)
        names.push_back(header.first);
    return names;
}

LoopbackReply LoopbackReply::answer(int status, const std::string& body, const std::string& headers)
{
    std::string text = "HTTP/1.1 " + std::to_string(status) + " Told\r\n" + headers
        + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    return { { { std::move(text), {} } }, Ending::KeepOpen };
}

LoopbackReply LoopbackReply::redirect(int status, const std::string& location)
{
    return answer(status, "", "Location: " + location + "\r\n");
}

LoopbackReply LoopbackReply::silence()
{
    return { { { "", std::chrono::hours(1) } }, Ending::Close };
}

LoopbackReply LoopbackReply::after(std::chrono::milliseconds delay) &&
{
    pieces.front().delay = delay;
    return std::move(*this);
}

LoopbackReply LoopbackReply::thenClose() &&
{
    ending = Ending::Close;
    return std::move(*this);
}

LoopbackServer::LoopbackServer(Script script)
    : m_script(std::move(script))
    , m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    if (bind(m_listener, generic(address), size) != 0 || listen(m_listener, SOMAXCONN) != 0
        || getsockname(m_listener, generic(address), &size) != 0)
        std::abort();
    m_port = ntohs(address.sin_port);
    m_accepter = std::thread([this] { accept(); });
    m_accepterRuns.wait();
}

LoopbackServer::~LoopbackServer()
{
    {
        MutexLock lock(m_lock);
        m_isGoing = true;
        for (int socket : m_sockets) {
            if (socket >= 0)
                shutdown(socket, SHUT_RDWR);
        }
    }
    m_changed.notify_all();
    shutdown(m_listener, SHUT_RDWR);
    m_accepter.join();

    std::list<std::thread> servers;
    {
        MutexLock lock(m_lock);
        servers.swap(m_servers);
    }
    for (std::thread& server : servers)
        server.join();
    close(m_listener);
}

std::string LoopbackServer::url(const std::string& target) const
{
    return "http://127.0.0.1:" + port() + target;
}

std::vector<LoopbackRequest> LoopbackServer::received() const
{
    MutexLock lock(m_lock);
    return m_received;
}

std::size_t LoopbackServer::connections() const
{
    MutexLock lock(m_lock);
    return m_sockets.size();
}

bool LoopbackServer::waitForRequests(std::size_t count) TELVORA_NO_THREAD_SAFETY_ANALYSIS
{
    auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::unique_lock lock(m_lock.native());
    while (m_received.size() < count) {
        if (m_changed.wait_until(lock, limit) == std::cv_status::timeout)
            return m_received.size() >= count;
    }
    return true;
}

void LoopbackServer::accept()
{
    m_accepterRuns.count_down();
    for (;;) {
        int socket = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0)
            return;
        MutexLock lock(m_lock);
        if (m_isGoing) {
            close(socket);
            return;
        }
        std::size_t connection = m_sockets.size();
        m_sockets.push_back(socket);
        m_servers.emplace_back([this, socket, connection] { serve(socket, connection); });
    }
}

void LoopbackServer::serve(int socket, std::size_t connection)
{
    RequestReader reader(socket);
    while (std::optional<LoopbackRequest> request = reader.next()) {
        request->connection = connection;
        remember(*request);
        LoopbackReply reply = m_script(*request);
        if (!write(socket, reply) || reply.ending == LoopbackReply::Ending::Close)
            break;
        if (reply.ending == LoopbackReply::Ending::Reset) {
            resetOnClose(socket);
            break;
        }
    }
    MutexLock lock(m_lock);
    m_sockets[connection] = -1;
    close(socket);
}

bool LoopbackServer::write(int socket, const LoopbackReply& reply)
{
    for (const LoopbackReply::Piece& piece : reply.pieces) {
        if (!pass(piece.delay))
            return false;
        std::size_t sent = 0;
        while (sent < piece.bytes.size()) {
            ssize_t count
                = send(socket, piece.bytes.data() + sent, piece.bytes.size() - sent, MSG_NOSIGNAL);
            if (count <= 0)
                return false;
            sent += static_cast<std::size_t>(count);
        }
    }
    return true;
}

void LoopbackServer::remember(LoopbackRequest& request)
{
    {
        MutexLock lock(m_lock);
        request.number = m_received.size();
        m_received.push_back(request);
    }
    m_changed.notify_all();
}

bool LoopbackServer::pass(std::chrono::milliseconds delay) TELVORA_NO_THREAD_SAFETY_ANALYSIS
{
    auto end = std::chrono::steady_clock::now() + delay;
    std::unique_lock lock(m_lock.native());
    while (!m_isGoing) {
        if (m_changed.wait_until(lock, end) == std::cv_status::timeout)
            break;
    }
    return !m_isGoing;
}

} // namespace telvora::detail
