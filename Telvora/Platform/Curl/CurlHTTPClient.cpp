#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <Telvora/Platform/Curl/CurlWorker.h>

#include <utility>

namespace telvora {

CurlHTTPClient::CurlHTTPClient(StartThread startThread, const Clock& clock, CurlHTTPOptions options)
    : m_worker(std::make_unique<detail::CurlWorker>(startThread, clock, std::move(options)))
{
}

CurlHTTPClient::~CurlHTTPClient()
{
    // A thread that does not exist here, or never moves again, cannot be waited for, and what it
    // may have left half done must not be taken apart.
    if (!m_worker->canStop())
        static_cast<void>(m_worker.release());
}

void CurlHTTPClient::send(HTTPRequest request, Completion completion)
{
    m_worker->send(std::move(request), std::move(completion));
}

std::size_t CurlHTTPClient::inFlight() const
{
    return m_worker->inFlight();
}

} // namespace telvora
