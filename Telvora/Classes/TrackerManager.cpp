#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Base/Encoder.h>
#include <Telvora/Base/Fatal.h>
#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Base/Lazy.h>
#include <Telvora/Base/UUIDText.h>
#include <Telvora/Classes/FinishedEvents.h>
#include <Telvora/Classes/Uploads.h>
#include <Telvora/Classes/Utils/TrackerNetwork.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <Telvora/Platform/NotificationCenter.h>
#include <Telvora/Platform/Platform.h>
#include <Telvora/Platform/UUIDSource.h>

#include <cstdio>

namespace telvora {

namespace {

using FetchQvxUuid = std::function<std::optional<std::string>()>;

// Prints to the console of a debug build of the host. A released host's terminal belongs to the
// host.
void showNetworkStatus(const TrackNetworkStatus& status)
{
    if (TrackerConfiguration::mode() == TrackerMode::debug)
        std::fprintf(stderr, "%s\n", status.encode().c_str());
}

} // namespace

TrackerManager& TrackerManager::shared()
{
    static constinit detail::Lazy<TrackerManager> shared;
    return shared.get([] { return new TrackerManager; });
}

TrackerManager::TrackerManager()
    : m_queue(platform().dispatch.makeConcurrentQueue("com.quorvex.tracker.manager"))
    , m_encoder(std::make_unique<detail::Encoder>(EncodeStyle::compact, detail::NonFinite::refuse))
    , m_finished(std::make_unique<detail::FinishedEvents>())
    , m_configs(std::make_shared<const Configs>())
    , m_configStatus(std::make_shared<const Statuses>())
    , m_sessionId(uuidText(platform().uuids.next()))
{
    // Made now, since there may be no memory when the first upload begins.
    detail::Uploads::shared();
    // The uploader does not know the facade, so it gets a closure that asks for the identifier.
    TrackerNetwork::shareInstance().setIdentifierSource([] { return uuid(); });
}

// Runs destructors of the host, which may call this object.
void TrackerManager::retire()
{
    m_isRetired.store(true, std::memory_order_relaxed);
    m_trackerTimer.suspend();
    NotificationCenter& center = platform().notificationCenter;
    center.removeObserver(this, Notification::willEnterForeground);
    center.removeObserver(this, Notification::didEnterBackground);
    if (Reachability* reachability = m_networkStatus.reachability()) {
        reachability->setWhenReachable({});
        reachability->setWhenUnreachable({});
    }
    m_configs.setValue(nullptr);
    m_fetchQvxUuid.setValue(nullptr);
    m_triggerCallback.setValue(nullptr);
    m_ostraProvider.setValue(nullptr);
}

std::optional<std::string> TrackerManager::uuid()
{
    const auto fetch = shared().m_fetchQvxUuid.getValue();
    std::optional<std::string> identifier;
    if (fetch && *fetch)
        detail::callHost([&] { identifier = (*fetch)(); }, { "The identifier closure" });
    return identifier;
}

void TrackerManager::setQvxUuid(FetchQvxUuid fetch)
{
    if (isRetired())
        return;
    m_fetchQvxUuid.setValue(detail::keepHostClosure(std::move(fetch)));
}

void TrackerManager::setMode(TrackerMode mode)
{
    if (!isRetired())
        TrackerConfiguration::setMode(mode);
}

void TrackerManager::configHeaders(StringDictionary headers)
{
    shared();
    TrackerNetwork::shareInstance().setAdditionHeaders(std::move(headers));
}

void TrackerManager::setupOstra(std::shared_ptr<QVXOstraProviderProtocol> provider)
{
    if (isRetired())
        return;
    detail::noteHostClosure();
    m_ostraProvider.setValue(std::move(provider));
}

void TrackerManager::register_(std::shared_ptr<TrackerConfig> config)
{
    if (!config || isInert() || m_isShutDown)
        return;
    const std::string& index = config->index();
    if (configs()->contains(index)) {
        detail::fatal(
            "TrackerManager: There are 2 same configs - index `" + index + "`", "TrackerManager");
    }
    if (config->m_renewalCount != detail::ProcessState::renewalCount()) {
        detail::fatal(
            "The channel `" + index + "` was made on a platform that was taken down since",
            "TrackerManager");
    }
    m_configs.modify([&](auto& configs) {
        auto changed = std::make_shared<Configs>(*configs);
        changed->insert_or_assign(index, config);
        configs = std::move(changed);
    });
    setStatus(index, ConfigStatus::idle);
    holdLimitsSoon(config);
}

void TrackerManager::setupCommonDatas(
    const Dictionary& commonDatas, std::string dataListKey, std::string_view for_)
{
    setupCommonDatas(copy(commonDatas), std::move(dataListKey), for_);
}

void TrackerManager::setupCommonDatas(
    Dictionary&& commonDatas, std::string dataListKey, std::string_view for_)
{
    if (const auto channel = config(for_))
        channel->setCommonData({ std::move(commonDatas), std::move(dataListKey) });
    else
        dispose(std::move(commonDatas));
}

void TrackerManager::start()
{
    if (shared().m_isShutDown)
        return;
    QuorvexLog::log(QuorvexLog::Category::tracker(), "Tracker Manager Start");

    TrackerManager& manager = shared();
    NotificationCenter& center = platform().notificationCenter;
    center.addObserver(&manager, Notification::willEnterForeground,
        [&manager] { manager.applicationBackgroundEnterFront(); });
    center.addObserver(&manager, Notification::didEnterBackground,
        [&manager] { manager.applicationEnterBackground(); });

    manager.m_trackerTimer.startTicks(std::nullopt, [&manager] {
        const auto registered = manager.configs();
        for (const auto& [index, config] : *registered)
            manager.timerEventHandler(config);
    });

    const auto registered = manager.configs();
    for (const auto& [index, config] : *registered) {
        if (manager.status(index) == ConfigStatus::running)
            continue;
        if (const auto startHook = config->startHook()) {
            callHook(*config, startHook);
            manager.setStatus(index, ConfigStatus::running);
        }
    }

    if (Reachability* reachability = manager.m_networkStatus.reachability()) {
        // Without the notifier every reading still works; only the handler is never called.
        static_cast<void>(reachability->startNotifier());
        manager.m_networkStatus.onStatusChange(showNetworkStatus);
    }
}

void TrackerManager::stop()
{
    TrackerManager& manager = shared();
    manager.removeObservers();
    const auto registered = manager.configs();
    for (const auto& [index, config] : *registered) {
        callHook(*config, config->stopHook());
        manager.setStatus(index, ConfigStatus::idle);
    }
}

void TrackerManager::removeObservers()
{
    NotificationCenter& center = platform().notificationCenter;
    center.removeObserver(this, Notification::willEnterForeground);
    center.removeObserver(this, Notification::didEnterBackground);
}

void TrackerManager::applicationEnterBackground()
{
    m_trackerTimer.suspend();
    const auto registered = configs();
    for (const auto& [index, config] : *registered) {
        callHook(*config, config->stopHook());
        setStatus(index, ConfigStatus::idle);
    }
    // Read again: a hook may have registered another channel.
    const auto registeredSince = configs();
    for (const auto& [index, config] : *registeredSince)
        timerEventHandler(config);
}

void TrackerManager::applicationBackgroundEnterFront()
{
    if (!m_isShutDown)
        m_trackerTimer.resume();
    const auto registered = configs();
    for (const auto& [index, config] : *registered) {
        callHook(*config, config->restartHook());
        setStatus(index, ConfigStatus::running);
    }
}

std::shared_ptr<const TrackerManager::Configs> TrackerManager::configs() const
{
    const auto configs = m_configs.getValue();
    return configs ? configs : std::make_shared<const Configs>();
}

std::shared_ptr<TrackerConfig> TrackerManager::config(std::string_view index) const
{
    const auto registered = configs();
    const auto found = registered->find(index);
    return found == registered->end() ? nullptr : found->second;
}

TrackerManager::ConfigStatus TrackerManager::status(const std::string& index) const
{
    const auto statuses = m_configStatus.getValue();
    if (!statuses)
        return ConfigStatus::idle;
    const auto found = statuses->find(index);
    return found == statuses->end() ? ConfigStatus::idle : found->second;
}

void TrackerManager::setStatus(const std::string& index, ConfigStatus status)
{
    if (detail::isForkedChild())
        return; // A hook forked, and this is the child.
    m_configStatus.modify([&](auto& statuses) {
        auto changed = std::make_shared<Statuses>(*statuses);
        changed->insert_or_assign(index, status);
        statuses = std::move(changed);
    });
}

void TrackerManager::callHook(
    TrackerConfig& config, const std::shared_ptr<const TrackerConfig::Hook>& hook)
{
    if (!hook || !*hook)
        return;
    if (detail::callHost(*hook, { "A hook", config.index() }) == detail::HostCall::threw)
        config.m_ledger.hostThrew();
}

} // namespace telvora
