#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/HTTPClient.h>
#include <Telvora/Platform/Linux/LinuxPlatform.h>

#include <atomic>
#include <condition_variable>
#include <string>
#include <thread>
#include <vector>

namespace telvora {

/// An HTTPClient that answers every request with the same text, on a thread of its own, so that a
/// figure contains the cost of the library and not of the network.
class AnsweringHTTPClient final : public HTTPClient {
public:
    explicit AnsweringHTTPClient(std::string text);
    ~AnsweringHTTPClient() override;

    void send(HTTPRequest request, Completion completion) override TELVORA_EXCLUDES(m_lock);

    /// How many requests are answered. Their completions have returned.
    long answered() const { return m_answered.load(std::memory_order_relaxed); }

private:
    void answer() TELVORA_NO_THREAD_SAFETY_ANALYSIS;

    const std::string m_text;
    detail::Mutex m_lock;
    std::condition_variable m_arrived;
    std::vector<Completion> m_waiting TELVORA_GUARDED_BY(m_lock);
    bool m_isEnding TELVORA_GUARDED_BY(m_lock) = false;
    std::atomic<long> m_answered { 0 };
    std::thread m_thread;
};

/// Installs the Linux platform with an AnsweringHTTPClient in place of its own client, and returns
/// that one.
AnsweringHTTPClient& installAnsweringPlatform(
    LinuxPlatformOptions options = {}, std::string text = R"({"success":true})");

} // namespace telvora
