#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

namespace telvora {

SimulatedPlatform::SimulatedPlatform(std::uint64_t seed)
    : m_dispatch(m_clock, seed)
    , m_httpClient(m_dispatch)
    , m_reachability(m_dispatch)
    , m_uuids(seed)
    , m_services {
        .application = m_application,
        .bundle = m_bundle,
        .clock = m_clock,
        .device = m_device,
        .dispatch = m_dispatch,
        .fileManager = m_fileManager,
        .httpClient = m_httpClient,
        .lifeCycleChecker = m_lifeCycleChecker,
        .notificationCenter = m_notificationCenter,
        .reachability = m_reachability,
        .screens = m_screens,
        .telephony = m_telephony,
        .uuids = m_uuids,
    }
{
}

SimulatedPlatform::~SimulatedPlatform() = default;

void SimulatedPlatform::setQuestionObserver(const QuestionObserver::Function& observer)
{
    m_bundle.setQuestionObserver(observer);
    m_device.setQuestionObserver(observer);
    m_lifeCycleChecker.setQuestionObserver(observer);
    m_reachability.setQuestionObserver(observer);
    m_screens.setQuestionObserver(observer);
    m_telephony.setQuestionObserver(observer);
}

} // namespace telvora
