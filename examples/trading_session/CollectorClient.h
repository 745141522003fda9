#pragma once

#include <Telvora/Base/Dictionary.h>

#include <cstdint>
#include <string>

/// Reads the local collector's counts and sets how it answers.
///
/// Threads: one. Failure: throws std::runtime_error, which ends the demonstration.
class CollectorClient {
public:
    /// The collector's counts of one path.
    struct Counts {
        std::int64_t requests = 0;
        std::int64_t acceptedBatches = 0;
        std::int64_t acceptedEvents = 0;
        std::int64_t badVerdicts = 0;
    };

    explicit CollectorClient(std::string base);

    const std::string& base() const { return m_base; }

    Counts counts(const std::string& path) const;

    /// Lets `rule` answer the next `times` requests to paths that begin with `path`; 0 times: until
    /// the rules change.
    void setRule(const std::string& path, telvora::Dictionary rule, int times) const;
    void clearRules() const;

    /// Sets the counts back to zero.
    void reset() const;

private:
    telvora::Dictionary call(
        const char* method, const std::string& path, const std::string& body) const;

    std::string m_base;
};
