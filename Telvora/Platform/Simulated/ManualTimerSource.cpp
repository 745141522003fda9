#include <Telvora/Platform/Simulated/ManualTimerSource.h>

#include <utility>

namespace telvora::detail {

ManualTimerSource::ManualTimerSource(std::shared_ptr<ManualDispatchCore> core)
    : m_core(std::move(core))
    , m_timer(std::make_shared<ManualDispatchCore::Timer>())
{
}

ManualTimerSource::~ManualTimerSource()
{
    m_core->remove(*m_timer);
}

void ManualTimerSource::schedule(std::chrono::nanoseconds interval)
{
    m_core->schedule(m_timer, interval);
}

void ManualTimerSource::setHandler(std::function<void()> handler)
{
    m_core->setHandler(*m_timer, std::move(handler));
}

void ManualTimerSource::suspend()
{
    m_core->suspend(*m_timer);
}

void ManualTimerSource::resume()
{
    m_core->resume(m_timer);
}

} // namespace telvora::detail
