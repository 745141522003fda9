#pragma once

#include <atomic>
#include <string>
#include <thread>

namespace telvora::tests {

/// A server on a free port of the loopback interface.
class LoopbackServer {
public:
    enum class Behaviour {
        /// Answers {"success": true}.
        answers,
        /// Accepts the connection and never sends anything.
        staysSilent,
    };

    explicit LoopbackServer(Behaviour behaviour);
    ~LoopbackServer();

    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    std::string url() const { return "http://127.0.0.1:" + std::to_string(m_port) + "/"; }
    int answered() const { return m_answered; }

private:
    void serve();
    bool answer(int connection, std::string& received);

    int m_listening = -1;
    int m_port = 0;
    std::atomic<int> m_answered { 0 };
    std::atomic<bool> m_isEnding { false };
    std::thread m_thread;
};

} // namespace telvora::tests
