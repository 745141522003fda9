#pragma once

#include <tools/collector/Rules.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace telvora::collector {

/// What the sender of a request must conclude from the answer.
enum class Outcome {
    /// Not settled yet.
    pending,
    /// It received a whole object whose "success" is true, false, 0 or 1: the batch is delivered.
    accepted,
    /// It received a whole answer without such a "success": it tries again.
    rejected,
    /// It received whole JSON that is not an object: it drops the batch.
    notObject,
    /// It received no whole HTTP answer: it tries again.
    undelivered,
};

const char* outcomeText(Outcome outcome);

/// How a sender reads an answer with this body. The status does not matter.
Outcome outcomeOf(std::string_view body);

enum class AfterAnswer { keepOpen, close, reset };

/// What a session does to answer one request.
struct Answer {
    /// Keep the connection open and send nothing.
    bool isNever = false;
    std::chrono::milliseconds delay { 0 };
    /// The status in `bytes`; 0 where they are no HTTP.
    int status = 0;
    /// The bytes to send; a fault may have cut the answer short.
    std::string bytes;
    /// Where set, the bytes are sent in pieces of this size, with this time in between.
    std::optional<Rule::Drip> drip;
    AfterAnswer after = AfterAnswer::keepOpen;
    /// The request's outcome once all of `bytes` are sent.
    Outcome outcome = Outcome::accepted;
};

/// The answer that `rule` asks for. `keepAlive`: whether the request lets the connection stay open.
Answer ruledAnswer(const Rule& rule, bool keepAlive);

/// A complete answer that no rule changes.
Answer plainAnswer(int status, std::string_view body, bool keepAlive,
    std::string_view contentType = "application/json");

} // namespace telvora::collector
