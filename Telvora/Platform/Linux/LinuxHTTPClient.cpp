#include <Telvora/Platform/Linux/LinuxHTTPClient.h>

#include <Telvora/Platform/Linux/CurlWorker.h>
#include <Telvora/Platform/Linux/LinuxClock.h>

#include <utility>

namespace telvora {

namespace {

const Clock& machineClock()
{
    static const auto& clock = *new LinuxClock;
    return clock;
}

} // namespace

LinuxHTTPClient::LinuxHTTPClient(LinuxHTTPOptions options)
    : m_worker(std::make_unique<CurlWorker>(std::move(options), machineClock()))
{
}

LinuxHTTPClient::~LinuxHTTPClient()
{
    // A thread that does not exist here, or never moves again, cannot be waited for, and what it
    // may have left half done must not be taken apart.
    if (!m_worker->canStop())
        static_cast<void>(m_worker.release());
}

void LinuxHTTPClient::send(HTTPRequest request, Completion completion)
{
    m_worker->send(std::move(request), std::move(completion));
}

std::size_t LinuxHTTPClient::inFlight() const
{
    return m_worker->inFlight();
}

} // namespace telvora
