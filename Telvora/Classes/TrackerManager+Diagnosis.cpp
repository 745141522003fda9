#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Classes/Diagnostics.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Platform.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace telvora {

namespace {

// With a comma between groups of three digits.
std::string grouped(std::int64_t number)
{
    std::string text = std::to_string(number);
    const std::size_t digits = text.size() - (number < 0 ? 1 : 0);
    for (std::size_t behind = 3; behind < digits; behind += 3)
        text.insert(text.size() - behind - (behind / 3 - 1), 1, ',');
    return text;
}

// "1st", "2nd", "11th"
std::string ordinal(std::int64_t number)
{
    const std::int64_t ones = number % 10;
    const bool isTeen = number % 100 / 10 == 1;
    const char* ending = "th";
    if (!isTeen && ones >= 1 && ones <= 3)
        ending = ones == 1 ? "st" : ones == 2 ? "nd" : "rd";
    return grouped(number) + ending;
}

// "3 s", "5 min", "2 h" or "4 d". The clock may have been set meanwhile.
std::string duration(double seconds)
{
    struct Unit {
        double seconds;
        const char* name;
    };
    constexpr Unit units[] { { 86'400, " d" }, { 3'600, " h" }, { 60, " min" } };
    const double whole = std::isfinite(seconds) ? std::clamp(seconds, 0.0, 1e15) : 0.0;
    for (const Unit& unit : units) {
        if (whole >= unit.seconds)
            return grouped(static_cast<std::int64_t>(whole / unit.seconds)) + unit.name;
    }
    return grouped(static_cast<std::int64_t>(whole)) + " s";
}

std::string described(const UploadFailure& failure, double now)
{
    std::string text = "last failure " + duration(now - failure.secondsSince1970)
        + " ago: " + repairedUTF8(failure.reason);
    if (failure.status != 0)
        text += ", status " + std::to_string(failure.status);
    if (!failure.url.empty())
        text += " (" + repairedUTF8(failure.url) + ")";
    text += ", " + ordinal(failure.attempt);
    text += failure.attempts == RetryPolicy::endless
        ? " attempt"
        : " of " + grouped(failure.attempts) + " attempts";
    if (failure.outcome == UploadFailure::Outcome::givenUp)
        text += ", given up";
    if (failure.outcome == UploadFailure::Outcome::dropped)
        text += ", dropped";
    return text;
}

std::string droppedBy(const LedgerAccount::Dropped& dropped)
{
    std::string reasons;
    forEachReason(dropped, [&](DropReason reason, std::int64_t count) {
        if (count != 0)
            reasons += (reasons.empty() ? "" : ", ") + std::string(rawValue(reason)) + " "
                + grouped(count);
    });
    return reasons;
}

std::string described(const LedgerSnapshot& ledger, double now)
{
    std::string text;
    const auto add = [&](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
    const auto count = [&](std::int64_t events, const char* what) {
        if (events != 0)
            add(grouped(events) + what);
    };
    count(ledger.events.pending, " pending");
    count(ledger.events.inFlight, " in flight");
    count(ledger.events.waiting, " waiting");
    count(ledger.events.delivered, " delivered");
    if (const auto dropped = ledger.events.dropped.total(); dropped != 0)
        add(grouped(dropped) + " dropped (" + droppedBy(ledger.events.dropped) + ")");
    if (text.empty())
        add("no events yet");
    if (ledger.hostExceptions != 0)
        add("closures threw " + grouped(ledger.hostExceptions) + " times");
    if (ledger.lastFailure)
        add(described(*ledger.lastFailure, now));
    return text;
}

} // namespace

void TrackerManager::setDiagnosticsHandler(DiagnosticsHandler handler)
{
    detail::Diagnostics::setHandler(std::move(handler));
}

std::string TrackerManager::diagnosis() const
{
    std::string text;
    if (isInert())
        return text;
    const double now = platform().clock.secondsSince1970();
    const auto registered = configs();
    for (const auto& [index, config] : *registered)
        text += repairedUTF8(index) + ": " + described(config->ledger(), now) + "\n";
    if (registered->empty())
        text += "No channel is registered\n";
    const LedgerSnapshot unknown = m_unknownChannels.snapshot();
    if (unknown.events.accepted != 0)
        text += "No such channel: " + described(unknown, now) + "\n";
    return text;
}

} // namespace telvora
