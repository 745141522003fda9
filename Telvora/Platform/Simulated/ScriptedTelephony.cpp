#include <Telvora/Platform/Simulated/ScriptedTelephony.h>

#include <utility>

namespace telvora {

std::optional<Telephony::Carriers> ScriptedTelephony::serviceSubscriberCellularProviders() const
{
    m_questionObserver("carriers");
    MutexLock lock(m_lock);
    return m_carriers;
}

std::optional<Telephony::RadioTechnologies>
ScriptedTelephony::serviceCurrentRadioAccessTechnology() const
{
    m_questionObserver("radio");
    MutexLock lock(m_lock);
    return m_technologies;
}

void ScriptedTelephony::setCarriers(std::optional<Carriers> carriers)
{
    MutexLock lock(m_lock);
    m_carriers = std::move(carriers);
}

void ScriptedTelephony::setRadioTechnologies(std::optional<RadioTechnologies> technologies)
{
    MutexLock lock(m_lock);
    m_technologies = std::move(technologies);
}

void ScriptedTelephony::setQuestionObserver(QuestionObserver::Function observer)
{
    m_questionObserver.set(std::move(observer));
}

} // namespace telvora
