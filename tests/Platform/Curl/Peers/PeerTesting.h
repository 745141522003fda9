#pragma once

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/Peers/Peer.h>

#include <map>
#include <string>

namespace telvora::detail {

/// What became of a number of requests: how many were answered with each status, and how many
/// failed with each error. A test compares it with what it expects, and sees it where it differs.
using Outcome = std::map<std::string, int>;

inline CurlHTTPOptions trusting(const Peer& peer)
{
    CurlHTTPOptions options;
    options.authorityFile = peer.authorityFile();
    return options;
}

/// Sends requests and keeps account of them. Each has its number in the header "x-number".
class Load {
public:
    explicit Load(CurlHTTPClient& client)
        : m_client(client)
    {
    }

    void send(const std::string& url, int count, std::size_t bodyBytes = 500,
        std::chrono::seconds timeout = std::chrono::seconds(60))
    {
        for (int number = 0; number < count; ++number) {
            HTTPRequest request = postTo(url, std::string(bodyBytes, 'x'), timeout);
            request.headers.emplace_back("x-number", std::to_string(++m_sent));
            m_client.send(std::move(request), [account = m_account](HTTPAnswer answer) {
                MutexLock lock(account->lock);
                const std::string end = answer.error.value_or(std::to_string(answer.status));
                ++account->outcome[end];
                ++account->ended;
            });
        }
    }

    int ended() const
    {
        MutexLock lock(m_account->lock);
        return m_account->ended;
    }

    /// Returns when so many have ended; ctest ends a test in which that never comes.
    void waitFor(int count) const
    {
        while (ended() < count)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    /// Sends one request after another until one is answered. The first ones may meet connections
    /// whose other end has gone; ctest ends a test in which none is answered.
    void sendUntilAnswered(const std::string& url)
    {
        const int before = answered();
        while (answered() == before)
            send(url, 1);
    }

    int answered() const
    {
        const Outcome all = outcome();
        const auto found = all.find("200");
        return found == all.end() ? 0 : found->second;
    }

    /// What became of all that were sent, once that is known.
    Outcome outcome() const
    {
        waitFor(m_sent);
        MutexLock lock(m_account->lock);
        return m_account->outcome;
    }

private:
    // The completions own it as well, and may outlive the test.
    struct Account {
        Mutex lock;
        Outcome outcome TELVORA_GUARDED_BY(lock);
        int ended TELVORA_GUARDED_BY(lock) = 0;
    };

    CurlHTTPClient& m_client;
    const std::shared_ptr<Account> m_account = std::make_shared<Account>();
    int m_sent = 0;
};

inline Outcome allAnswered(int count)
{
    return { { "200", count } };
}

} // namespace telvora::detail
