#include <Telvora/Platform/Simulated/ScriptedTelephony.h>

#include <utility>

namespace telvora {

std::optional<Telephony::Carriers> ScriptedTelephony::serviceSubscriberCellularProviders() const
{
    m_questionObserver("carriers");
    return m_carriers.get();
}

std::optional<Telephony::RadioTechnologies>
ScriptedTelephony::serviceCurrentRadioAccessTechnology() const
{
    m_questionObserver("radio");
    return m_technologies.get();
}

void ScriptedTelephony::setCarriers(std::optional<Carriers> carriers)
{
    m_carriers.set(std::move(carriers));
}

void ScriptedTelephony::setRadioTechnologies(std::optional<RadioTechnologies> technologies)
{
    m_technologies.set(std::move(technologies));
}

void ScriptedTelephony::setQuestionObserver(QuestionObserver::Function observer)
{
    m_questionObserver.set(std::move(observer));
}

} // namespace telvora
