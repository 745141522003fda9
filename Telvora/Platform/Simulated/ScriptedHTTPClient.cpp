#include <Telvora/Platform/Simulated/ScriptedHTTPClient.h>

#include <Telvora/Base/HeaderField.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace telvora {

namespace {

// Whether no client may send the request: a bad name, or a line break that would start a new
// header.
bool isBad(const std::pair<std::string, std::string>& header)
{
    return !detail::isFieldName(header.first) || !detail::isFieldValue(header.second);
}

} // namespace

ScriptedAnswer ScriptedAnswer::body(std::string bytes, int status)
{
    return { .kind = Kind::body, .text = std::move(bytes), .status = status };
}

ScriptedAnswer ScriptedAnswer::error(std::string text)
{
    return { .kind = Kind::error, .text = std::move(text) };
}

ScriptedAnswer ScriptedAnswer::noData()
{
    return { .kind = Kind::noData };
}

ScriptedAnswer ScriptedAnswer::later()
{
    return { .kind = Kind::later };
}

ScriptedAnswer ScriptedAnswer::after(std::chrono::nanoseconds newDelay) const
{
    ScriptedAnswer answer = *this;
    answer.delay = newDelay;
    return answer;
}

ScriptedAnswer ScriptedAnswer::inlined() const
{
    ScriptedAnswer answer = *this;
    answer.isInline = true;
    return answer;
}

ScriptedAnswer ScriptedAnswer::with(HTTPHeaders newHeaders) const
{
    ScriptedAnswer answer = *this;
    answer.headers = std::move(newHeaders);
    return answer;
}

ScriptedHTTPClient::ScriptedHTTPClient(ManualDispatch& dispatch)
    : m_dispatch(dispatch)
{
}

ScriptedHTTPClient::~ScriptedHTTPClient() = default;

void ScriptedHTTPClient::close()
{
    // Destroyed after the lock is released: a completion records its end then.
    decltype(m_waiting) dropped;
    detail::MutexLock lock(m_lock);
    dropped.swap(m_waiting);
    m_underWayCount = 0;
}

void ScriptedHTTPClient::send(HTTPRequest request, Completion completion)
{
    const bool isAnyBad = std::ranges::any_of(request.headers, isBad);
    if (isAnyBad || request.isWithdrawn()) {
        {
            detail::MutexLock lock(m_lock);
            ++m_underWayCount;
        }
        complete(std::move(completion),
            ScriptedAnswer::error(isAnyBad ? "Bad header" : "The request was withdrawn"));
        return;
    }

    std::size_t number = 0;
    {
        detail::MutexLock lock(m_lock);
        m_requests.push_back(request);
        number = m_requests.size();
        ++m_underWayCount;
    }
    m_requestObserver(number, request);

    const ScriptedAnswer answer = take(request.url);
    if (answer.kind == ScriptedAnswer::Kind::later) {
        detail::MutexLock lock(m_lock);
        m_waiting.emplace(number, std::move(completion));
        return;
    }
    complete(std::move(completion), answer);
}

ScriptedAnswer ScriptedHTTPClient::take(const std::string& url)
{
    detail::MutexLock lock(m_lock);
    const auto own = m_answersByURL.find(url);
    Answers& answers = own != m_answersByURL.end() ? own->second : m_answers;
    if (answers.queue.empty())
        return ScriptedAnswer::error("No answer is scripted");
    ScriptedAnswer answer = answers.queue.front();
    if (answers.queue.size() > 1 || !answers.repeats)
        answers.queue.pop_front();
    return answer;
}

void ScriptedHTTPClient::complete(Completion completion, const ScriptedAnswer& answer)
{
    HTTPAnswer result;
    if (answer.kind == ScriptedAnswer::Kind::body) {
        result.data = answer.text;
        result.status = answer.status;
        result.headers = answer.headers;
    } else if (answer.kind == ScriptedAnswer::Kind::error) {
        result.error = answer.text;
    }

    if (answer.isInline && answer.delay <= std::chrono::nanoseconds(0)) {
        m_dispatch.runOnOtherThread([&] { finish(completion, std::move(result)); });
        return;
    }
    m_dispatch.completionAsync(answer.delay,
        [this, completion = std::move(completion), result = std::move(result)]() mutable {
            finish(completion, std::move(result));
        });
}

void ScriptedHTTPClient::finish(Completion& completion, HTTPAnswer answer)
{
    {
        detail::MutexLock lock(m_lock);
        --m_underWayCount;
    }
    if (completion)
        completion(std::move(answer));
}

void ScriptedHTTPClient::setAnswers(std::vector<ScriptedAnswer> answers, bool repeats)
{
    Answers replacement { { std::make_move_iterator(answers.begin()),
                              std::make_move_iterator(answers.end()) },
        repeats };
    detail::MutexLock lock(m_lock);
    m_answers = std::move(replacement);
}

void ScriptedHTTPClient::setAnswers(
    const std::string& url, std::vector<ScriptedAnswer> answers, bool repeats)
{
    Answers replacement { { std::make_move_iterator(answers.begin()),
                              std::make_move_iterator(answers.end()) },
        repeats };
    detail::MutexLock lock(m_lock);
    m_answersByURL[url] = std::move(replacement);
}

bool ScriptedHTTPClient::answer(std::size_t number, const ScriptedAnswer& answer)
{
    Completion completion;
    {
        detail::MutexLock lock(m_lock);
        const auto waiting = m_waiting.find(number);
        if (waiting == m_waiting.end())
            return false;
        if (answer.kind == ScriptedAnswer::Kind::later)
            return true;
        completion = std::move(waiting->second);
        m_waiting.erase(waiting);
    }
    complete(std::move(completion), answer);
    return true;
}

std::vector<HTTPRequest> ScriptedHTTPClient::requests() const
{
    detail::MutexLock lock(m_lock);
    return m_requests;
}

std::size_t ScriptedHTTPClient::requestCount() const
{
    detail::MutexLock lock(m_lock);
    return m_requests.size();
}

std::size_t ScriptedHTTPClient::underWayCount() const
{
    detail::MutexLock lock(m_lock);
    return m_underWayCount;
}

void ScriptedHTTPClient::setRequestObserver(
    std::function<void(std::size_t number, const HTTPRequest& request)> observer)
{
    m_requestObserver.set(std::move(observer));
}

} // namespace telvora
