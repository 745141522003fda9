#pragma once

#include <Telvora/Base/NeverDestroyed.h>
#include <Telvora/Platform/Curl/CurlHTTPClient.h>
#include <Telvora/Platform/Linux/Machine/LinuxClock.h>
#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <tests/Platform/Curl/LoopbackServer.h>

#include <arpa/inet.h>
#include <dlfcn.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace telvora::detail {

inline constinit NeverDestroyed<LinuxClock> s_machineClock;

/// The client that the Linux platform uses.
class RealHTTPClient final : public CurlHTTPClient {
public:
    explicit RealHTTPClient(CurlHTTPOptions options = {})
        : CurlHTTPClient(startDetachedThread, *s_machineClock, std::move(options))
    {
    }
};

inline HTTPRequest postTo(std::string url, std::string body = "{}",
    std::chrono::seconds timeout = std::chrono::seconds(60))
{
    return { std::move(url), "POST", { { "Content-Type", "application/json" } }, std::move(body),
        timeout };
}

/// An answer that is still to come.
class AnswerToCome {
public:
    AnswerToCome(HTTPClient& client, HTTPRequest request)
    {
        auto promise = std::make_shared<std::promise<HTTPAnswer>>();
        m_future = promise->get_future();
        client.send(std::move(request),
            [promise](HTTPAnswer answer) { promise->set_value(std::move(answer)); });
    }

    /// Absent if it does not come within `limit`.
    std::optional<HTTPAnswer> wait(std::chrono::seconds limit = std::chrono::seconds(100))
    {
        if (m_future.wait_for(limit) != std::future_status::ready)
            return {};
        return m_future.get();
    }

private:
    std::future<HTTPAnswer> m_future;
};

inline HTTPAnswer answerTo(HTTPClient& client, HTTPRequest request)
{
    HTTPAnswer none;
    none.error = "No completion came";
    return AnswerToCome(client, std::move(request)).wait().value_or(none);
}

/// Sends exactly these bytes and then closes the connection.
inline LoopbackReply raw(std::vector<LoopbackReply::Piece> pieces)
{
    return { std::move(pieces), LoopbackReply::Ending::Close };
}

inline LoopbackServer::Script always(LoopbackReply reply)
{
    return [reply = std::move(reply)](const LoopbackRequest&) { return reply; };
}

/// The answer that a client makes of this reply.
inline HTTPAnswer answerFor(LoopbackReply reply, CurlHTTPOptions options = {})
{
    LoopbackServer server(always(std::move(reply)));
    RealHTTPClient client(std::move(options));
    return answerTo(client, postTo(server.url()));
}

/// Waits until every completion has returned, at most 100 s; false if one has not.
inline bool settle(const CurlHTTPClient& client)
{
    auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(100);
    while (client.inFlight() > 0 && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return client.inFlight() == 0;
}

/// Returns once the system has no open connection to or from that address. ctest ends a test that
/// waits too long.
inline void waitUntilClosed(const std::string& address, int port)
{
    in_addr number {};
    ::inet_pton(AF_INET, address.c_str(), &number);
    char end[32];
    std::snprintf(end, sizeof(end), "%08X:%04X", number.s_addr, port);
    for (bool isOpen = true; isOpen;) {
        std::ifstream table("/proc/net/tcp");
        isOpen = false;
        for (std::string line; std::getline(table, line);) {
            std::istringstream fields(line);
            std::string index, from, to, state;
            fields >> index >> from >> to >> state;
            constexpr const char* established = "01";
            isOpen = isOpen || (state == established && (from == end || to == end));
        }
        if (isOpen)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// Initializes OpenSSL completely, as a host that uses it does. Its exit handler is registered
/// then.
inline void useOpenSSL()
{
    using SetUp = int(std::uint64_t, const void*);
    if (auto* setUp = reinterpret_cast<SetUp*>(dlsym(RTLD_DEFAULT, "OPENSSL_init_ssl")))
        static_cast<void>(setUp(0, nullptr));
}

/// The value of `entry` in /proc/self/task/.../status of each thread of that name.
inline std::vector<std::string> statusOfThreads(const std::string& name, const std::string& entry)
{
    std::vector<std::string> values;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        bool isWanted = false;
        for (std::string line; std::getline(status, line);) {
            if (line == "Name:\t" + name)
                isWanted = true;
            else if (isWanted && line.rfind(entry + ":\t", 0) == 0)
                values.push_back(line.substr(entry.size() + 2));
        }
    }
    return values;
}

} // namespace telvora::detail
