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

/// How to answer some requests other than with plain success. README.md lists the members and what
/// each does on the wire.
struct Rule {
    enum class Close { no, before, within };
    enum class Refuse { no, accept, connect };

    struct Drip {
        std::size_t bytes = 1;
        std::chrono::milliseconds every { 100 };
    };

    std::string name;
    std::string path = "/";
    /// How many more times it applies; absent: until the rules change.
    std::optional<std::uint64_t> left;
    /// How long it applies after its installation; absent: until the rules change.
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

    /// To how many requests or connections it was applied.
    std::uint64_t met = 0;
};

/// The rules in force, in order. The first one that matches and has times left applies.
///
/// Thread safety: one thread.
class RuleList {
public:
    using Clock = std::chrono::steady_clock;

    /// Replaces all rules by those in `text` (README.md has the format). Where the text is wrong,
    /// returns an error text with the line and column, and changes nothing.
    std::optional<std::string> install(std::string_view text, Clock::time_point now);

    /// The rule for a request to `path`; uses up one of its times.
    std::optional<Rule> take(std::string_view path, Clock::time_point now);

    /// The rule that resets a connection just accepted; uses up one of its times.
    std::optional<Rule> takeForConnection(Clock::time_point now);

    /// Whether the port must not listen, so that connecting fails.
    bool refusesToListen(Clock::time_point now) const;

    /// The rules in force, with the times left and how often each was applied.
    boost::json::array describe() const;

private:
    bool applies(const Rule& rule, Clock::time_point now) const;

    std::vector<Rule> m_rules;
    Clock::time_point m_installed;
};

} // namespace telvora::collector
