#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/HTTPClient.h>
#include <Telvora/Platform/Simulated/ManualDispatch.h>
#include <Telvora/Platform/Simulated/Observer.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace telvora {

/// What a ScriptedHTTPClient answers to one request.
///
///     client.setAnswers({ ScriptedAnswer::body(R"({"success": true})").after(2s) });
struct TELVORA_EXPORT ScriptedAnswer {
    /// What comes of the request.
    enum class Kind {
        /// An answer that arrived: bytes and a status.
        body,
        /// A transport error.
        error,
        /// Neither data nor error.
        noData,
        /// No answer yet: ScriptedHTTPClient::answer() gives it.
        later,
    };

    /// What comes of the request.
    Kind kind = Kind::error;
    /// The body's bytes, or the error's text.
    std::string text {};
    /// The HTTP status of a body.
    int status = 200;
    /// How long after it is chosen the answer arrives; with 0 or less it is a block at once.
    std::chrono::nanoseconds delay { 0 };
    /// The request completes before send() returns. Has no effect together with a delay.
    bool isInline = false;
    /// The headers of a body.
    HTTPHeaders headers {};

    // One for each kind, without a delay.

    /// An answer that arrives.
    static ScriptedAnswer body(std::string bytes, int status = 200);
    /// `text` is what HTTPAnswer::error says.
    static ScriptedAnswer error(std::string text);
    /// Neither data nor error.
    static ScriptedAnswer noData();
    /// No answer until ScriptedHTTPClient::answer() gives one.
    static ScriptedAnswer later();

    /// A copy with this delay.
    ScriptedAnswer after(std::chrono::nanoseconds delay) const;
    /// A copy with isInline set.
    ScriptedAnswer inlined() const;
    /// A copy with these headers.
    ScriptedAnswer with(HTTPHeaders headers) const;
};

/// An HTTPClient that sends nothing, records every request and answers from lists: URLs may have
/// their own list, and all others use a general one. The answer is chosen when the request is sent.
/// An empty list answers with a transport error.
///
/// A request with a bad name or a line break in a header, or one that is withdrawn, fails as with
/// any client and is not recorded.
///
/// Answers arrive as blocks of the ManualDispatch, so they wait until it runs; a delayed answer
/// becomes due when time is advanced. Time-outs are not simulated.
///
/// Threads: any.
class TELVORA_EXPORT ScriptedHTTPClient final : public HTTPClient {
public:
    /// `dispatch` must outlive this object.
    explicit ScriptedHTTPClient(ManualDispatch& dispatch);
    /// Drops unfinished requests without a completion.
    ~ScriptedHTTPClient() override;

    void send(HTTPRequest request, Completion completion) override;

    /// Replaces the general list. With `repeats` its last answer is repeated.
    void setAnswers(std::vector<ScriptedAnswer> answers, bool repeats = false);
    /// Sets the list of `url`, which then no longer uses the general list.
    void setAnswers(
        const std::string& url, std::vector<ScriptedAnswer> answers, bool repeats = false);

    /// Answers a request whose scripted answer was "later"; its completion runs now or after the
    /// answer's delay. False when no such request waits. Another "later" changes nothing.
    bool answer(std::size_t number, const ScriptedAnswer& answer);

    /// All requests so far; the first has number 1.
    std::vector<HTTPRequest> requests() const;
    /// How many these are, and so the number of the newest.
    std::size_t requestCount() const;
    /// How many requests have a completion that has not been called.
    std::size_t underWayCount() const;

    /// Called for each request when it is sent, before its answer is chosen.
    void setRequestObserver(
        std::function<void(std::size_t number, const HTTPRequest& request)> observer);

private:
    friend class SimulatedPlatform;

    struct Answers {
        std::deque<ScriptedAnswer> queue {};
        bool repeats = false;
    };

    ScriptedAnswer take(const std::string& url);
    void complete(Completion completion, const ScriptedAnswer& answer);
    void finish(Completion& completion, HTTPAnswer answer);
    // Does what the destructor does.
    void close();

    ManualDispatch& m_dispatch;
    Observer<std::size_t, const HTTPRequest&> m_requestObserver;

    mutable detail::Mutex m_lock;
    Answers m_answers TELVORA_GUARDED_BY(m_lock);
    std::map<std::string, Answers> m_answersByURL TELVORA_GUARDED_BY(m_lock);
    std::vector<HTTPRequest> m_requests TELVORA_GUARDED_BY(m_lock);
    std::map<std::size_t, Completion> m_waiting TELVORA_GUARDED_BY(m_lock);
    std::size_t m_underWayCount TELVORA_GUARDED_BY(m_lock) = 0;
};

} // namespace telvora
