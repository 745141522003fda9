#pragma once

#include "CollectorClient.h"
#include "Desk.h"
#include "Progress.h"

#include <Telvora/Base/Dictionary.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

/// The script of the demonstration. Only the main thread uses it.
class Session {
public:
    Session(CollectorClient& collector, Desk& desk);

    /// Ordinary work for that long.
    void trade(std::chrono::milliseconds howLong);
    /// Goes to the background, waits for the flush, and comes back.
    void goToBackgroundAndBack();
    /// The collector cannot be reached, drops connections, answers with an error and with bad JSON;
    /// the retry cache delivers every batch in the end.
    void faults();
    /// The collector fails for longer than a batch is tried, which loses a known number of events.
    void outage();
    /// Sends all remaining events.
    void finish();

    /// Prints the library's counts beside the collector's. True where they agree exactly and events
    /// were lost only in the outage. `providerReports`: how many APM reports the provider received,
    /// where there is one.
    bool compareCounts(std::optional<std::int64_t> providerReports);

private:
    // False where `isDone` does not become true in time.
    bool waitUntil(const std::function<bool()>& isDone);
    void toBackground();
    void toForeground();
    void flush();
    void fault(const std::string& title, std::optional<telvora::Dictionary> rule);

    CollectorClient& m_collector;
    Desk& m_desk;
    Progress m_progress;
    std::int64_t m_lostEvents = 0;
    bool m_isOnTime = true;
};
