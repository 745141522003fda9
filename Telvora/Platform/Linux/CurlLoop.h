#pragma once

#include <Telvora/Platform/Linux/CurlRequest.h>
#include <Telvora/Platform/Linux/CurlTransfer.h>

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace telvora {

/// All transfers of a client, moved on together by one thread over libcurl's multi interface.
///
/// Jobs wait in one lane for each origin, first come first served, and libcurl holds only as many
/// of them as can travel: each one in its hands costs it memory and a look on every turn, and a
/// host may send thousands at once while its collector is slow.
///
/// Threads: one, but for wake(). advance() is the only operation in which libcurl works (and uses
/// the TLS library); wait() only sleeps.
class CurlLoop {
public:
    explicit CurlLoop(const LinuxHTTPOptions& options);
    ~CurlLoop();

    CurlLoop(const CurlLoop&) = delete;
    CurlLoop& operator=(const CurlLoop&) = delete;

    /// False when the system had no memory or no descriptor left for it; good for nothing then.
    bool isUsable() const { return m_isUsable; }

    void add(CurlJob job);

    /// Does what can be done now and says which jobs are over.
    std::vector<CurlResult> advance();

    /// Sleeps until the network, a deadline or wake() gives a reason not to.
    void wait();

    /// Ends the current or the next wait(). Any thread.
    void wake();

    /// Gives up all jobs.
    std::vector<CurlResult> abandon(const std::string& reason);

private:
    using Time = std::chrono::steady_clock::time_point;

    struct Lane {
        std::deque<CurlJob> waiting;
        std::size_t underWay = 0;
        std::size_t limit = 0;
    };
    using Lanes = std::map<std::string, Lane>;
    using Transfers = std::unordered_map<CURL*, std::unique_ptr<CurlTransfer>>;

    void fillLanes();
    void fill(const std::string& name, Lane& lane);
    void start(CurlJob job, const std::string& lane);
    void collectFinished();
    void collectExpired();
    void giveUp(CurlJob job, std::string reason);
    Transfers::iterator end(Transfers::iterator underWay, std::optional<std::string> error);
    void keep(std::unique_ptr<CurlTransfer> transfer);

    const LinuxHTTPOptions& m_options;
    CURLM* m_multi;
    bool m_isUsable = false;
    Lanes m_lanes;
    Transfers m_underWay;
    std::vector<std::unique_ptr<CurlTransfer>> m_idle;
    std::vector<CurlResult> m_over;
    /// No deadline is earlier; may lie before the earliest one, which costs one look in vain.
    Time m_nextDeadline = Time::max();
};

} // namespace telvora
