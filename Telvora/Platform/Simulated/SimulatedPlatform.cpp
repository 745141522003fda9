#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <Telvora/Base/ExitGate.h>
#include <Telvora/Base/Fatal.h>
#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/ProcessState.h>
#include <Telvora/Platform/Simulated/CallOut.h>

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

SimulatedPlatform::~SimulatedPlatform()
{
    if (detail::isInstalled(m_services) && !detail::ExitGate::isClosed())
        takeDown();
}

Platform& SimulatedPlatform::services()
{
    if (m_isTakenDown)
        detail::fatal("The platform was taken down: make another one", "SimulatedPlatform");
    return m_services;
}

void SimulatedPlatform::takeDown()
{
    if (detail::isForkedChild())
        return;
    if (!detail::isInstalled(m_services))
        detail::fatal("Only the installed platform can be taken down", "SimulatedPlatform");
    if (m_dispatch.isRunningBlock() || detail::CallOut::isUnderWay()
        || detail::ExitGate::isInside()) {
        detail::fatal(
            "takeDown() was called from a block, a closure or an observer", "SimulatedPlatform");
    }
    m_isTakenDown = true;
    // What is destroyed here may be the host's and may call the library, so the shared objects and
    // this platform are still in place.
    removeObservers();
    m_dispatch.close();
    m_httpClient.close();
    detail::ProcessState::renewAll();
}

void SimulatedPlatform::removeObservers()
{
    setQuestionObserver({});
    m_application.setOpenObserver({});
    m_fileManager.setProbeObserver({});
    m_fileManager.setWriteObserver({});
    m_httpClient.setRequestObserver({});
    m_notificationCenter.setObservationObserver({});
    m_reachability.setNotifierObserver({});
}

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
