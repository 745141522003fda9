#pragma once

#include "Screens.h"

#include <Telvora/Classes/TrackerManager.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

/// The channels of this application and the paths they post to.
struct Channel {
    std::string index;
    std::string path;
    std::int64_t maxLimit;
};

inline const std::array<Channel, 4> channels { {
    { "APM", "/apm", 5 },
    { "MP", "/mp", 8 },
    { "E2E", "/e2e", 10 },
    { "Sentry", "/sentry", 4 },
} };

/// The application's work: traders on threads of their own, and pages on the main thread.
class Desk {
public:
    /// Registers the channels, sets the common data, starts the library and the traders. Where a
    /// provider is installed, it receives the APM reports instead of the channel.
    Desk(std::string collector, Navigator& navigator, bool hasProvider);

    /// Sends the next `uploads` uploads of each channel to a port where no server listens.
    void loseCollector(int uploads);

    /// Shows the next page and reports its measurements.
    void turnPage();
    /// Reports measurements of the page on top.
    void measure();

    /// Stops the traders, and lets them continue. In between only the caller hands over events.
    void pause() { m_mutex.lock(); }
    void resume() { m_mutex.unlock(); }
    /// Ends a pause and the traders' threads.
    void close();

    /// Hands an event to the Sentry channel from the calling thread.
    void reportError(const std::string& name);

    /// How many events the application handed to a channel so far.
    std::int64_t handedOver(const std::string& index) const;
    /// How many APM reports it made, for the channel or the provider.
    std::int64_t reported() const;

private:
    void trade(std::stop_token stop, int trader);
    void count(const std::string& index);

    const std::string m_collector;
    const bool m_hasProvider;
    Navigator& m_navigator;
    std::array<std::atomic<std::int64_t>, channels.size()> m_handedOver {};
    std::array<std::atomic<int>, channels.size()> m_lostUploads {};
    std::size_t m_page = 0;
    std::shared_mutex m_mutex;
    std::vector<std::jthread> m_traders;
};
