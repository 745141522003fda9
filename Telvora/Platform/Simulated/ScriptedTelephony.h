#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/Simulated/Observer.h>
#include <Telvora/Platform/Telephony.h>

#include <optional>

namespace telvora {

/// A Telephony with the test's services, in the test's order; no telephony at the start.
///
/// Questions it reports: "carriers", "radio".
///
/// Threads: any.
class TELVORA_EXPORT ScriptedTelephony final : public Telephony {
public:
    std::optional<Carriers> serviceSubscriberCellularProviders() const override;
    std::optional<RadioTechnologies> serviceCurrentRadioAccessTechnology() const override;

    /// Replaces the carriers; absent: no telephony.
    void setCarriers(std::optional<Carriers> carriers);
    /// Replaces the radio technologies; absent: no telephony.
    void setRadioTechnologies(std::optional<RadioTechnologies> technologies);

    /// Called for each question, before its answer is read.
    void setQuestionObserver(QuestionObserver::Function observer);

private:
    QuestionObserver m_questionObserver;
    detail::Guarded<std::optional<Carriers>> m_carriers;
    detail::Guarded<std::optional<RadioTechnologies>> m_technologies;
};

} // namespace telvora
