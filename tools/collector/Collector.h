#pragma once

#include <tools/collector/Answer.h>
#include <tools/collector/Options.h>
#include <tools/collector/RecordFile.h>
#include <tools/collector/RequestLog.h>
#include <tools/collector/Rules.h>
#include <tools/collector/Store.h>

#include <boost/json/value.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace telvora::collector {

/// What sink mode counts.
struct SinkCounts {
    std::uint64_t requests = 0;
    std::uint64_t bytes = 0;
};

/// The collector without its sockets: takes requests, chooses their answers and counts them.
///
/// Thread safety: one thread.
class Collector {
public:
    struct Reception {
        Answer answer;
        /// For settle(), once the answer is sent or has failed. Absent in sink mode.
        std::optional<Store::Ticket> ticket;
    };

    explicit Collector(Options options);

    /// Reads the rules file and opens the record file and the terminal. Returns an error text on
    /// failure.
    std::optional<std::string> prepare();

    /// `request` has method, target, headers, body and connection; receive() fills in the rest.
    Reception receive(Request request, bool keepAlive);
    void settle(const Store::Ticket& ticket, Outcome outcome);

    /// Counts a request that cannot be read and is answered with this status.
    void noteMalformed(int status, std::string_view why);

    void countInSink(std::uint64_t bytes)
    {
        ++m_sink.requests;
        m_sink.bytes += bytes;
        noteProgress();
    }

    /// Forgets requests and counts and restores the rules that were given at the start.
    void reset();

    /// Installs the rules in `text`. Returns an error text where they are wrong.
    std::optional<std::string> installRules(std::string_view text);

    boost::json::object summary() const;

    std::uint64_t requestCount() const { return m_store.requestCount() + m_sink.requests; }
    std::uint64_t eventCount() const { return m_store.eventCount(); }
    std::uint64_t acceptedEventCount() const { return m_store.acceptedEventCount(); }

    /// Requests whose outcome is known.
    std::uint64_t settledCount() const { return m_store.settledCount() + m_sink.requests; }

    const Options& options() const { return m_options; }
    RuleList& rules() { return m_rules; }
    Store& store() { return m_store; }

    /// Called after every change of the counts, if set.
    std::function<void()> onProgress;
    /// Called after every change of the rules, if set.
    std::function<void()> onRulesChanged;

private:
    void noteProgress()
    {
        if (onProgress)
            onProgress();
    }

    Options m_options;
    std::string m_initialRules = "[]";
    RuleList m_rules;
    Store m_store;
    RecordFile m_record;
    RequestLog m_log;
    SinkCounts m_sink;
};

} // namespace telvora::collector
