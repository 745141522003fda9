#pragma once

#include <string>

#include <sys/types.h>

namespace telvora {

/// A telvora-collector in sink mode, which counts and checks nothing, in a process of its own.
///
/// Life: listens when the constructor returns; ended by the destructor. Failure ends the program.
class SinkCollector {
public:
    explicit SinkCollector(const std::string& program);
    ~SinkCollector();

    SinkCollector(const SinkCollector&) = delete;
    SinkCollector& operator=(const SinkCollector&) = delete;

    const std::string& address() const { return m_address; }

    struct Counts {
        long requests = 0;
        long bytes = 0;
    };
    /// Waits until `requests` requests have arrived, ten seconds at most.
    Counts countsAfter(long requests) const;

private:
    pid_t m_process = 0;
    std::string m_address;
};

} // namespace telvora
