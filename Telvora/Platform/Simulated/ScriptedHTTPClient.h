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
    enum class Kind {
        /// An answer that arrived: bytes and a status.
        body,
        /// A transport error.
        error,
        /// Neither data nor error.
        noData,
        /// None for now: ScriptedHTTPClient::answer() gives it.
        later,
    };

    Kind kind = Kind::error;
    /// The body's bytes, or the error's text.
    std::string text {};
    int status = 200;
    std::chrono::nanoseconds delay { 0 };
    /// The request completes before send() returns. Without effect together with a delay.
    bool isInline = false;

    static ScriptedAnswer body(std::string bytes, int status = 200);
    static ScriptedAnswer error(std::string text);
    static ScriptedAnswer noData();
    static ScriptedAnswer later();

    ScriptedAnswer after(std::chrono::nanoseconds delay) const;
    ScriptedAnswer inlined() const;
};

/// An HTTPClient that sends nothing, remembers every request and answers from lists: one for each
/// URL that has been given its own, and a general one for all other URLs. An answer is taken when
/// the request is sent. A list that has run out answers with a transport error.
///
/// A request with a bad name or a line break in a header fails as with any client and counts as
/// never sent.
///
/// Answers arrive as blocks of the ManualDispatch, so they wait for it to run; a delayed one
/// comes due as time is advanced. Time-outs are not played.
///
/// Threads: any.
class TELVORA_EXPORT ScriptedHTTPClient final : public HTTPClient {
public:
    /// `dispatch` must outlive this object.
    explicit ScriptedHTTPClient(ManualDispatch& dispatch);
    /// Requests under way are dropped without a completion.
    ~ScriptedHTTPClient() override;

    void send(HTTPRequest request, Completion completion) override;

    /// Replaces the general list. With `repeats` its last answer is given again and again.
    void setAnswers(std::vector<ScriptedAnswer> answers, bool repeats = false);
    /// Gives `url` a list of its own, or replaces it; from then on the general one no longer
    /// serves that URL.
    void setAnswers(
        const std::string& url, std::vector<ScriptedAnswer> answers, bool repeats = false);

    /// Answers a request that was answered "later"; its completion runs as any other, now or
    /// after the answer's delay. False when no such request waits. Another "later" changes
    /// nothing.
    bool answer(std::size_t number, const ScriptedAnswer& answer);

    /// All requests so far; the first has number 1.
    std::vector<HTTPRequest> requests() const;
    std::size_t requestCount() const;
    /// Those whose completion has not been called.
    std::size_t underWayCount() const;

    /// Told of each request as it is sent, before its answer is taken.
    void setRequestObserver(
        std::function<void(std::size_t number, const HTTPRequest& request)> observer);

private:
    struct Answers {
        std::deque<ScriptedAnswer> queue {};
        bool repeats = false;
    };

    ScriptedAnswer take(const std::string& url);
    void complete(Completion completion, const ScriptedAnswer& answer);
    void finish(Completion& completion, HTTPAnswer answer);

    ManualDispatch& m_dispatch;
    Observer<std::size_t, const HTTPRequest&> m_requestObserver;

    mutable Mutex m_lock;
    Answers m_answers TELVORA_GUARDED_BY(m_lock);
    std::map<std::string, Answers> m_answersByURL TELVORA_GUARDED_BY(m_lock);
    std::vector<HTTPRequest> m_requests TELVORA_GUARDED_BY(m_lock);
    std::map<std::size_t, Completion> m_waiting TELVORA_GUARDED_BY(m_lock);
    std::size_t m_underWayCount TELVORA_GUARDED_BY(m_lock) = 0;
};

} // namespace telvora
