#pragma once

#include "CollectorClient.h"
#include "Desk.h"
#include "Progress.h"

#include <Telvora/Platform/Linux/LinuxPlatform.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

/// The script of the demonstration. Belongs to the main thread.
class Session {
public:
    Session(telvora::LinuxPlatform& platform, CollectorClient& collector, Desk& desk);

    /// An ordinary working day for that long.
    void trade(std::chrono::milliseconds howLong);
    /// Away to the background and back.
    void visitBackground();
    /// The collector cannot be reached, drops connections, breaks down and talks nonsense; the
    /// retry cache makes it good.
    void faults();
    /// The collector stays broken for longer than a batch is tried. What is lost is known.
    void outage();
    /// Sends all that is left.
    void finish();

    /// Prints the library's account beside the collector's. True when they agree to the event and
    /// nothing was lost but in the outage. `providerReports`: how many APM reports the provider
    /// took, where there is one.
    bool settleAccounts(std::optional<std::int64_t> providerReports);

private:
    /// False when `isDone` does not come true in time.
    bool waitUntil(const std::function<bool()>& isDone);
    void toBackground();
    void toForeground();
    void flush();
    void fault(const std::string& title, std::optional<telvora::Dictionary> rule);

    telvora::LinuxPlatform& m_platform;
    CollectorClient& m_collector;
    Desk& m_desk;
    Progress m_progress;
    std::int64_t m_lostEvents = 0;
    bool m_isOnTime = true;
};
