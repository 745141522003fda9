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

/// The application's own doings: traders on threads of their own, and pages on the main thread.
class Desk {
public:
    /// Registers the channels, installs the common data and starts the library. With a provider
    /// installed, APM reports go there and not to a channel.
    Desk(std::string collector, Navigator& navigator, bool hasProvider);

    /// While true, what the application reports to a channel goes to a port where nobody listens;
    /// the next `uploads` of each channel, that is.
    void loseCollector(int uploads);

    /// One step along the script of pages, with the measurements that belong to a page.
    void turnPage();
    /// Some of what a page measures while it is on top.
    void measure();

    /// Holds the traders up, and lets them go on. Nothing is handed over in between but by the
    /// caller.
    void pause() { m_open.lock(); }
    void resume() { m_open.unlock(); }
    /// Ends a pause by sending the traders home.
    void close();

    /// Hands an event to the Sentry channel from the calling thread.
    void complain(const std::string& what);

    /// How many events the application handed to a channel so far.
    std::int64_t handedOver(const std::string& index) const;
    /// How many APM reports it made, wherever they go.
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
    std::shared_mutex m_open;
    std::vector<std::jthread> m_traders;
};
