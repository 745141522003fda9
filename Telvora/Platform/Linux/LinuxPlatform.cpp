#include <Telvora/Platform/Linux/LinuxPlatform.h>

#include <Telvora/Base/Lazy.h>
#include <Telvora/Platform/Linux/LinuxThread.h>

#include <utility>

namespace telvora {

namespace {

LinuxBundle::Options bundleOptions(LinuxPlatformOptions& options)
{
    if (!options.applicationName)
        options.applicationName = SystemFiles(options.root).firstLine("/proc/self/comm");
    return {
        std::move(options.applicationName),
        std::move(options.applicationVersion),
        std::move(options.applicationIdentifier),
        std::move(options.infoDictionary),
    };
}

} // namespace

LinuxPlatform::LinuxPlatform(LinuxPlatformOptions options)
    : m_dispatch(startDetachedThread, std::move(options.mainThread))
    , m_application(SystemFiles(options.root))
    , m_bundle(bundleOptions(options))
    , m_device(SystemFiles(options.root), options.screen)
    , m_httpClient(std::move(options.http))
    , m_reachability(m_dispatch, SystemFiles(options.root))
    , m_screens(std::move(options.keyWindow))
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

Platform& systemPlatform()
{
    // Never destroyed: threads of the library may still be at work when the process ends.
    static constinit detail::Lazy<LinuxPlatform> platform;
    return platform.get([] { return new LinuxPlatform; }).services();
}

} // namespace telvora
