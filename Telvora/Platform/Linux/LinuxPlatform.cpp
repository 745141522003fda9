#include <Telvora/Platform/Linux/LinuxPlatform.h>

#include <Telvora/Base/Lazy.h>
#include <Telvora/Base/NeverDestroyed.h>
#include <Telvora/Platform/Host/HostBundle.h>
#include <Telvora/Platform/Linux/Machine/LinuxApplication.h>
#include <Telvora/Platform/Linux/Machine/LinuxClock.h>
#include <Telvora/Platform/Linux/Machine/LinuxDevice.h>
#include <Telvora/Platform/Linux/Machine/LinuxFileManager.h>
#include <Telvora/Platform/Linux/Machine/LinuxUUIDSource.h>
#include <Telvora/Platform/Linux/Network/LinuxReachability.h>
#include <Telvora/Platform/Linux/Process/ForkHandlers.h>
#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <utility>

#include <sys/prctl.h>
#include <unistd.h>

namespace telvora {

namespace {

using detail::SystemFiles;

std::optional<std::string> programName(const std::string& root)
{
    // It is the main thread's name, which that thread reads much faster than the file.
    char name[16] = "";
    if (root.empty() && ::gettid() == ::getpid() && ::prctl(PR_GET_NAME, name) == 0)
        return detail::firstLine(name);
    return SystemFiles(root).firstLine("/proc/self/comm");
}

HostBundle::Options bundleOptions(LinuxPlatformOptions& options)
{
    if (!options.applicationName)
        options.applicationName = programName(options.root);
    return {
        std::move(options.applicationName),
        std::move(options.applicationVersion),
        std::move(options.applicationIdentifier),
        std::move(options.infoDictionary),
    };
}

// The HTTP client's thread may use it while the process ends.
constinit detail::NeverDestroyed<detail::LinuxClock> s_clock;

} // namespace

struct LinuxPlatform::Services {
    Services(const LinuxPlatform& itsPlatform, LinuxPlatformOptions options)
        : platform(itsPlatform)
        , dispatch(detail::startDetachedThread, std::move(options.mainThread))
        , application(SystemFiles(options.root))
        , bundle(bundleOptions(options))
        , device(SystemFiles(options.root), options.screen)
        , httpClient(detail::startDetachedThread, *s_clock, std::move(options.http))
        , reachability(dispatch, SystemFiles(options.root))
        , screens(std::move(options.keyWindow))
    {
    }

    // A host may keep nothing of an installed platform but its services; leak checkers find the
    // rest through this.
    const LinuxPlatform& platform;
    // Before the others, so destroyed after them: they may submit work until they are destroyed.
    ThreadedDispatch dispatch;
    detail::LinuxApplication application;
    HostBundle bundle;
    detail::LinuxDevice device;
    detail::LinuxFileManager fileManager;
    CurlHTTPClient httpClient;
    HostLifeCycleChecker lifeCycleChecker;
    HostNotificationCenter notificationCenter;
    detail::LinuxReachability reachability;
    HostScreenHierarchy screens;
    HostTelephony telephony;
    detail::LinuxUUIDSource uuids;
    Platform all {
        .application = application,
        .bundle = bundle,
        .clock = *s_clock,
        .device = device,
        .dispatch = dispatch,
        .fileManager = fileManager,
        .httpClient = httpClient,
        .lifeCycleChecker = lifeCycleChecker,
        .notificationCenter = notificationCenter,
        .reachability = reachability,
        .screens = screens,
        .telephony = telephony,
        .uuids = uuids,
    };
};

LinuxPlatform::LinuxPlatform(LinuxPlatformOptions options)
{
    // Before anything that a fork could interrupt.
    detail::installForkHandlers();
    m_services = std::make_unique<Services>(*this, std::move(options));
}

LinuxPlatform::~LinuxPlatform() = default;

Platform& LinuxPlatform::services()
{
    return m_services->all;
}

ThreadedDispatch& LinuxPlatform::dispatch()
{
    return m_services->dispatch;
}

CurlHTTPClient& LinuxPlatform::httpClient()
{
    return m_services->httpClient;
}

HostNotificationCenter& LinuxPlatform::notificationCenter()
{
    return m_services->notificationCenter;
}

HostLifeCycleChecker& LinuxPlatform::lifeCycleChecker()
{
    return m_services->lifeCycleChecker;
}

HostScreenHierarchy& LinuxPlatform::screens()
{
    return m_services->screens;
}

HostTelephony& LinuxPlatform::telephony()
{
    return m_services->telephony;
}

} // namespace telvora

telvora::Platform* telvoraDefaultPlatform()
{
    // Never destroyed: threads of the library may still run while the process ends.
    static constinit telvora::detail::Lazy<telvora::LinuxPlatform> platform;
    return &platform.get([] { return new telvora::LinuxPlatform; }).services();
}
