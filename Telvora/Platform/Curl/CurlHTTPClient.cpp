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
    // If it cannot stop: the thread does not exist in this process or never continues, so nothing
    // can wait for it. Its objects may be in the middle of a change, so they are not destroyed.
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
