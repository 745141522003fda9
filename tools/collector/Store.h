#pragma once

#include <tools/collector/Answer.h>
#include <tools/collector/Verdict.h>

#include <boost/json/value.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace telvora::collector {

/// One request outside /_telvora/, as it was received and answered.
struct Request {
    std::uint64_t number = 0;
    double secondsSince1970 = 0;
    std::uint64_t connection = 0;
    std::string method;
    std::string target;
    Headers headers;
    std::string body;
    Verdict verdict;
    /// The sender's HTTP client resent it because the first try got no byte of an answer.
    bool isResent = false;
    /// Name of the rule that was applied; empty where none was.
    std::string rule;
    Outcome outcome = Outcome::pending;
    /// Of the answer that was chosen for it; 0 where that is none or no HTTP.
    int status = 0;
    /// Whether any byte of an answer went out.
    bool hasAnswerBegun = false;
};

boost::json::object describe(const Request& request);

/// Which requests a listing has.
struct Filter {
    /// What the path begins with, either as it was sent or with its percent escapes decoded.
    std::string path;
    /// Only correct batches, or only others; absent: both.
    std::optional<bool> isOk;

    bool matches(const Request& request) const;
};

/// The most recent requests, and the counts of all requests.
///
/// Requests are kept up to a limit of memory; the oldest are forgotten first. The counts stay
/// exact, for at most 1000 paths and 1000 rules a path; further ones are counted together
/// under "*". Trace ids are remembered for the last 262,144 requests.
///
/// Thread safety: one thread.
class Store {
public:
    /// Refers to a request whose outcome is not known yet, and keeps it alive.
    struct Ticket {
        std::shared_ptr<Request> request;
        std::uint64_t generation = 0;
    };

    explicit Store(std::size_t maximumBytes);

    /// Adds a request, gives it its number, and adds a problem to its verdict where its trace id
    /// was seen before.
    Ticket add(Request request);

    /// Records the outcome. Counts nothing where a reset came in between.
    void settle(const Ticket& ticket, Outcome outcome);

    /// Requests with a number above `since` that match, oldest first, as the text of a JSON object
    /// of about `maximumBytes` at most. Its "last" is the last number that was looked at, and its
    /// "more" says whether there are later ones.
    std::string requestsSince(
        std::uint64_t since, std::size_t maximumBytes, const Filter& filter = {}) const;

    boost::json::object summary() const;

    /// Forgets everything and counts from 1 again.
    void reset();

    /// Roughly the memory of the kept requests, in bytes.
    std::size_t keptBytes() const { return m_keptBytes; }
    std::uint64_t requestCount() const { return m_total.requests; }
    std::uint64_t eventCount() const { return m_total.events; }
    std::uint64_t acceptedEventCount() const { return tally(m_total, Outcome::accepted).events; }

    std::uint64_t settledCount() const
    {
        return m_total.requests - tally(m_total, Outcome::pending).batches;
    }

    void noteMalformed() { ++m_malformed; }
    void noteIncomplete() { ++m_incomplete; }
    void noteConnection() { ++m_connections; }
    void noteRefusedConnection() { ++m_refusedConnections; }

private:
    struct Tally {
        std::uint64_t batches = 0;
        std::uint64_t events = 0;
    };
    struct Counts {
        std::uint64_t requests = 0;
        std::uint64_t events = 0;
        std::uint64_t bytes = 0;
        std::uint64_t badVerdicts = 0;
        std::uint64_t resent = 0;
        std::array<Tally, 5> outcomes {};
        std::map<std::string, std::uint64_t, std::less<>> faults;
    };
    static const Tally& tally(const Counts& counts, Outcome outcome)
    {
        return counts.outcomes[static_cast<std::size_t>(outcome)];
    }
    static boost::json::object describe(const Counts& counts);
    Counts& countsOf(std::string_view target);
    void judgeTraceID(Request& request);
    void rememberTraceID(const std::string& traceID);
    void keep(std::shared_ptr<Request> request);

    std::size_t m_maximumBytes;
    std::uint64_t m_generation = 0;

    std::deque<std::shared_ptr<const Request>> m_kept;
    std::size_t m_keptBytes = 0;
    std::uint64_t m_forgotten = 0;

    Counts m_total;
    std::map<std::string, Counts, std::less<>> m_paths;
    std::uint64_t m_connections = 0;
    std::uint64_t m_refusedConnections = 0;
    std::uint64_t m_malformed = 0;
    std::uint64_t m_incomplete = 0;

    // Trace ids seen, and whether the last request with this id got no byte of an answer.
    std::unordered_map<std::string, bool> m_traceIDs;
    std::deque<std::string> m_traceOrder;
};

} // namespace telvora::collector
