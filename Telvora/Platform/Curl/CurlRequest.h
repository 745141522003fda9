#pragma once

#include <Telvora/Platform/HTTPClient.h>

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace telvora::detail {

/// What a job ends with for which there is no memory. Short enough to be kept without any.
constexpr const char* outOfMemory = "Out of memory";

/// A request on its way through the client, together with its completion and, in the end, its
/// answer. It passes from list to list by splicing, so that no want of memory can lose it. Times
/// are those of CurlLoop's clock.
struct CurlJob {
    using Time = std::chrono::steady_clock::time_point;

    CurlJob(HTTPRequest itsRequest, HTTPClient::Completion itsCompletion)
        : request(std::move(itsRequest))
        , completion(std::move(itsCompletion))
    {
    }

    /// Makes `reason` the answer. Without memory for the text it says only that.
    void fail(std::string_view reason) noexcept;

    /// After redirects: what is asked of the last host.
    HTTPRequest request;
    HTTPClient::Completion completion;
    HTTPAnswer answer {};

    /// Since when it waits for a connection.
    Time waitingSince {};
    /// What is left of its time-out. Waiting takes nothing of it.
    Time::duration timeLeft {};
    /// Set while it is under way.
    Time deadline {};
    /// When it was first given to a connection.
    std::optional<Time> firstSent {};
    /// How many answers its host had given when it was last given to a connection.
    std::size_t answersBefore = 0;
    int redirects = 0;
};

/// Jobs, in their order. Most hold one job.
using CurlJobs = std::list<CurlJob>;

/// Takes the first of `jobs`, which must not be empty.
inline CurlJobs takeFirst(CurlJobs& jobs)
{
    CurlJobs first;
    first.splice(first.end(), jobs, jobs.begin());
    return first;
}

/// Where a request goes: requests with equal text share connections.
struct CurlOrigin {
    std::string scheme {};
    /// In lower case.
    std::string host {};
    std::string port {};
    /// Why nothing can be fetched from the address; the rest is empty then.
    std::optional<std::string> error {};

    std::string text() const { return scheme + "://" + host + ":" + port; }
};

CurlOrigin originOf(const std::string& url);

/// Why the request must not go out, if it must not.
std::optional<std::string> refusalOf(const HTTPRequest& request);

/// Points the request at where its host redirects it, which must be a place to fetch from, without
/// the headers that must not go there. Says why it must not follow, if it must not.
std::optional<std::string> redirect(HTTPRequest& request, const std::string& target);

/// Whether a body follows the headers, be it an empty one.
bool carriesBody(const HTTPRequest& request);

struct CurlHeadersDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using CurlHeaders = std::unique_ptr<curl_slist, CurlHeadersDeleter>;

/// The request's headers in libcurl's spelling; those that libcurl would add by habit are switched
/// off. Requires a request without a refusal.
CurlHeaders headersOf(const HTTPRequest& request);

} // namespace telvora::detail
