#pragma once

#include <tools/collector/Rules.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace telvora::collector {

/// What became of a request, as its sender must have understood it.
enum class Outcome {
    /// Not settled yet.
    pending,
    /// An object came back whole whose "success" is true, false, 0 or 1: the batch is delivered.
    accepted,
    /// An answer came back whole that says nothing of the kind: the sender will try again.
    rejected,
    /// JSON came back whole that is no object: the sender never hears of its batch again.
    notObject,
    /// No whole HTTP answer came back: the sender will try again.
    undelivered,
};

const char* outcomeText(Outcome outcome);

/// How a sender understands an answer's body. It never looks at the status.
Outcome understood(std::string_view body);

enum class AfterAnswer { keepOpen, close, reset };

/// All a session has to do to answer one request.
struct Answer {
    /// Hold the connection open and say nothing.
    bool isNever = false;
    std::chrono::milliseconds delay { 0 };
    /// What is sent, possibly less than the answer that it begins.
    std::string bytes;
    /// Sent in pieces of this size and at this distance, where set.
    std::optional<Rule::Drip> drip;
    AfterAnswer after = AfterAnswer::keepOpen;
    /// What becomes of the request once all of `bytes` are sent.
    Outcome outcome = Outcome::accepted;
};

/// The answer a rule asks for. `keepAlive` is what the request allows.
Answer ruledAnswer(const Rule& rule, bool keepAlive);

/// A whole answer of our own, outside the rules.
Answer plainAnswer(int status, std::string_view body, bool keepAlive);

} // namespace telvora::collector
