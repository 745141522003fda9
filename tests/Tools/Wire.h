#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace telvora::tests {

/// One TCP connection to a local port, for raw bytes: a test can send what no HTTP client would,
/// and can distinguish a reset from an orderly end.
class Wire {
public:
    enum class End { open, orderly, reset };

    /// An HTTP answer, possibly cut short.
    struct Reply {
        int status = 0;
        std::string head;
        std::string body;
        /// Whether the body is as long as the head says.
        bool isWhole = false;
        End end = End::open;
    };

    /// For an answer that comes. The slowest takes two seconds on a machine that does nothing else.
    static constexpr std::chrono::milliseconds patience { 200000 };

    /// Not connected where connecting failed; then see error().
    explicit Wire(std::uint16_t port);
    ~Wire();
    Wire(Wire&& other) noexcept;
    Wire& operator=(Wire&&) = delete;

    bool isConnected() const { return m_socket >= 0; }
    /// errno of the failed connect.
    int error() const { return m_error; }

    /// False where the other side has closed the connection.
    bool send(std::string_view bytes);
    void closeSending();

    /// Reads one answer; bytes behind it stay for the next call.
    Reply read(std::chrono::milliseconds longest = patience);

    /// Reads until the other side ends the connection or `longest` is over.
    std::string readAll(End& end, std::chrono::milliseconds longest = patience);

    Reply exchange(std::string_view request)
    {
        send(request);
        return read();
    }

private:
    // Waits for more bytes and appends them. False at the end, or when the time is over.
    bool receive(std::chrono::steady_clock::time_point until);

    int m_socket = -1;
    int m_error = 0;
    std::string m_received;
    End m_end = End::open;
};

/// A POST with the head of a batch and a new trace id.
std::string batch(std::string_view path, std::string_view body);

/// As batch(), with one header replaced or, without a value, left out.
std::string batchWith(std::string_view path, std::string_view body, std::string_view header,
    std::optional<std::string_view> value);

std::string get(std::string_view target);
std::string request(std::string_view method, std::string_view target, std::string_view body);

/// Another upper-case UUID with every call.
std::string nextTraceID();

} // namespace telvora::tests
