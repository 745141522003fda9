#pragma once

#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace telvora {

/// A random session of a host: events, ticks, background and foreground, held queues, answers of
/// every kind in any order, batches that cannot be encoded, URL hooks that append. One at a time.
///
/// Counts the events by their identifiers, independently of the ledger.
class RandomSession {
public:
    explicit RandomSession(std::uint64_t seed);

    /// Runs until every request is answered and every channel is flushed. Returns the errors of the
    /// ledger; empty when there are none.
    std::vector<std::string> run();

    /// Every request so far: address, headers and body.
    std::vector<std::string> requests();

private:
    struct Channel {
        std::string index;
        std::shared_ptr<TrackerConfig> config;
        std::int64_t appended = 0;
    };

    void step();
    void append(Channel& channel);
    void answerOne();
    void move();
    void settle();

    // The channel of a request, and the identifiers of its events.
    std::pair<std::string, std::vector<std::int64_t>> eventsOf(std::size_t request);
    void check(std::vector<std::string>& wrong);
    void checkChannel(const Channel& channel, std::vector<std::string>& wrong);

    bool chance(unsigned percent) { return m_random() % 100 < percent; }

    SimulatedPlatform m_platform;
    std::mt19937_64 m_random;
    std::vector<Channel> m_channels;
    std::vector<std::size_t> m_open;
    std::map<std::string, std::multiset<std::int64_t>> m_delivered;
    std::int64_t m_unknown = 0;
    std::int64_t m_nextEvent = 0;
    bool m_isAway = false;
};

} // namespace telvora
