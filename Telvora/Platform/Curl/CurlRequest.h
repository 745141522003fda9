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

/// The error of a job for which there is no memory. Short enough for a std::string without an
/// allocation.
constexpr const char* outOfMemory = "Out of memory";

/// A request with its completion and, at the end, its answer. It moves from list to list by
/// splicing, which needs no memory, so a job is never lost. Times are those of CurlLoop's clock.
struct CurlJob {
    using Time = std::chrono::steady_clock::time_point;

    CurlJob(HTTPRequest itsRequest, HTTPClient::Completion itsCompletion)
        : request(std::move(itsRequest))
        , completion(std::move(itsCompletion))
    {
    }

    /// Sets the error `reason`; "Out of memory" if there is no memory for the text.
    void fail(std::string_view reason) noexcept;

    /// After a redirect: the request to the new address.
    HTTPRequest request;
    HTTPClient::Completion completion;
    HTTPAnswer answer {};

    /// When it began to wait for a connection.
    Time waitingSince {};
    /// The rest of its time-out. Waiting for a connection does not shorten it.
    Time::duration timeLeft {};
    /// When its time-out ends; set when it is given to a connection.
    Time deadline {};
    /// When it was given to a connection for the first time.
    std::optional<Time> firstSent {};
    /// How many answers its server had given when it was last given to a connection.
    std::size_t answersBefore = 0;
    int redirects = 0;
};

/// Jobs in order. Most lists hold one job.
using CurlJobs = std::list<CurlJob>;

/// Takes the first of `jobs`, which must not be empty.
inline CurlJobs takeFirst(CurlJobs& jobs)
{
    CurlJobs first;
    first.splice(first.end(), jobs, jobs.begin());
    return first;
}

/// The destination of a request. Requests with equal text() share connections.
struct CurlOrigin {
    std::string scheme {};
    /// In lower case.
    std::string host {};
    std::string port {};
    /// Why the address cannot be used; the other members are empty then.
    std::optional<std::string> error {};

    std::string text() const { return scheme + "://" + host + ":" + port; }
};

CurlOrigin originOf(const std::string& url);

/// Why the request must not be sent; absent if it may.
std::optional<std::string> problemWith(const HTTPRequest& request);

/// Changes the request's address to `target` and removes the headers that must not be sent there.
/// Returns why the redirect must not be followed; absent if it may.
std::optional<std::string> redirect(HTTPRequest& request, const std::string& target);

/// Whether the request has a body, which may be empty.
bool carriesBody(const HTTPRequest& request);

struct CurlHeadersDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using CurlHeaders = std::unique_ptr<curl_slist, CurlHeadersDeleter>;

/// The request's headers in libcurl's form, with the headers switched off that libcurl would add.
/// Requires a request without a problem. Throws std::bad_alloc.
CurlHeaders headersOf(const HTTPRequest& request);

} // namespace telvora::detail
