#pragma once

#include <Telvora/Base/Dictionary.h>

#include <cstdint>
#include <string>

/// Asks the local collector what it has seen and tells it how to answer.
///
/// Threads: one. Failure: throws std::runtime_error; a demonstration without its witness is over.
class CollectorClient {
public:
    /// What the collector has understood of one path.
    struct Seen {
        std::int64_t requests = 0;
        std::int64_t acceptedBatches = 0;
        std::int64_t acceptedEvents = 0;
        std::int64_t badVerdicts = 0;
    };

    explicit CollectorClient(std::string base);

    const std::string& base() const { return m_base; }

    Seen seen(const std::string& path) const;

    /// Answers the next `times` requests to each path below `path` as `rule` says, then well again;
    /// 0 times: until the rules change.
    void misbehave(const std::string& path, telvora::Dictionary rule, int times) const;
    void behave() const;

    /// Starts its counts from zero.
    void forget() const;

private:
    telvora::Dictionary call(
        const char* method, const std::string& path, const std::string& body) const;

    std::string m_base;
};
