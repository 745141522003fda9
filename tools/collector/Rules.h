#pragma once

#include <boost/json/value.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace telvora::collector {

/// One way to answer otherwise than with plain success. README.md has the members and what each
/// does on the wire.
struct Rule {
    enum class Close { no, before, within };
    enum class Refuse { no, accept, connect };

    struct Drip {
        std::size_t bytes = 1;
        std::chrono::milliseconds every { 100 };
    };

    std::string name;
    std::string path = "/";
    /// How often it still applies; absent: until the rules change.
    std::optional<std::uint64_t> left;
    /// How long after it was installed it lapses.
    std::optional<std::chrono::milliseconds> lapsesAfter;

    std::string body = R"({"success":true})";
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::chrono::milliseconds delay { 0 };
    Close close = Close::no;
    bool reset = false;
    std::optional<std::size_t> truncate;
    std::optional<Drip> drip;
    bool never = false;
    bool nonsense = false;
    Refuse refuse = Refuse::no;

    /// How many requests or connections it has met.
    std::uint64_t met = 0;
};

/// The rules in force, in order. The first one that matches and has times left wins.
///
/// Thread safety: one thread.
class RuleList {
public:
    using Clock = std::chrono::steady_clock;

    /// Replaces all rules by those in `text` (README.md has the format). Where the text is wrong,
    /// says why and leaves the rules in force alone.
    std::optional<std::string> install(std::string_view text, Clock::time_point now);

    /// Takes the rule for a request to `path`, using up one of its times.
    std::optional<Rule> take(std::string_view path, Clock::time_point now);

    /// Takes the rule for a connection that has just been accepted, where one drops it.
    std::optional<Rule> takeForConnection(Clock::time_point now);

    /// Whether the listening socket is to be closed, so that connecting itself fails.
    bool refusesToListen(Clock::time_point now) const;

    /// The rules as they stand, what is left of them and how often each was met.
    boost::json::array describe() const;

private:
    bool applies(const Rule& rule, Clock::time_point now) const;

    std::vector<Rule> m_rules;
    Clock::time_point m_installed;
};

} // namespace telvora::collector
