#include "Progress.h"

#include <cstdio>

#include <unistd.h>

using telvora::LedgerAccount;
using telvora::TrackerManager;

namespace {

constexpr std::chrono::seconds plainLineEvery { 2 };

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

LedgerAccount eventsOf(const std::string& index)
{
    const auto snapshot = TrackerManager::shared().ledger(index);
    return snapshot ? snapshot->events : LedgerAccount();
}

} // namespace

Progress::Progress(const Desk& desk)
    : m_desk(desk)
    , m_isTerminal(isatty(STDOUT_FILENO) == 1)
{
}

void Progress::begin(const std::string& title)
{
    m_title = title;
    if (m_isTerminal && m_isDrawn)
        std::printf("\n");
    m_isDrawn = false;
    std::printf("%s%6.1f s  %s%s\n", m_isTerminal ? "\033[1m" : "", secondsSince(m_start),
        title.c_str(), m_isTerminal ? "\033[0m" : "");
    m_lastLine = {};
    update();
}

void Progress::update()
{
    if (m_isTerminal) {
        drawTable();
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now - m_lastLine < plainLineEvery)
        return;
    m_lastLine = now;
    printLine();
}

void Progress::drawTable()
{
    if (m_isDrawn)
        std::printf("\033[%zuA", channels.size() + 1);
    m_isDrawn = true;
    std::printf("  %-8s%10s%10s%10s%10s%10s%10s\033[K\n", "channel", "handed", "pending",
        "in flight", "waiting", "delivered", "dropped");
    for (const Channel& channel : channels) {
        const LedgerAccount events = eventsOf(channel.index);
        std::printf("  %-8s%10ld%10ld%10ld%10ld%10ld%10ld\033[K\n", channel.index.c_str(),
            m_desk.handedOver(channel.index), events.pending, events.inFlight, events.waiting,
            events.delivered, events.dropped.total());
    }
    std::fflush(stdout);
}

void Progress::printLine()
{
    LedgerAccount sum;
    for (const Channel& channel : channels) {
        const LedgerAccount events = eventsOf(channel.index);
        sum.accepted += events.accepted;
        sum.pending += events.pending;
        sum.inFlight += events.inFlight;
        sum.waiting += events.waiting;
        sum.delivered += events.delivered;
    }
    std::printf("%6.1f s    %ld accepted, %ld pending, %ld in flight, %ld waiting, %ld delivered\n",
        secondsSince(m_start), sum.accepted, sum.pending, sum.inFlight, sum.waiting, sum.delivered);
    std::fflush(stdout);
}
