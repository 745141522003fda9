#include <Telvora/Start/StartTelvora.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/ProcessValue.h>
#include <Telvora/Classes/Domain/TrackerDomainConstant.h>
#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Classes/Model/TrackerDataLifeCycleTrace.h>
#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <Telvora/Platform/Platform.h>
#include <Telvora/Start/OptionsCheck.h>

#include <atomic>
#include <memory>
#include <utility>

namespace telvora {

namespace {

// Set while a call is under way, and for good once one has installed its platform.
constinit detail::ProcessValue<bool> s_isStarted { false };

StartResult refused(std::vector<std::string> problems)
{
    return { .isStarted = false, .problems = std::move(problems) };
}

void setUpStandardData(const TrackerConfig& config, StandardData data)
{
    TrackerManager& manager = TrackerManager::shared();
    const auto index = defaultIndex(config.index());
    if (index == DefaultIndex::E2E)
        manager.setupCommonE2EDatas();
    else if (index == DefaultIndex::MP)
        manager.setupCommonMPDatas();
    else if (index == DefaultIndex::APM)
        manager.setupCommonVendelDatas();
    else if (index == DefaultIndex::Sentry)
        manager.setupCommonSentryDatas(data == StandardData::standard, false);
    else
        manager.setupCommonDatas(
            manager.getCommonE2EDatas(), config.commonData()->dataListKey, config.index());
}

// The host's own data beside those that the channel has, and the host's key.
void addCommonData(TrackerConfig& config, Channel& channel)
{
    const auto standard = config.commonData();
    TrackerCommonData data { copy(standard->commonDatas),
        channel.listKey.value_or(standard->dataListKey) };
    for (auto& field : channel.commonData)
        data.commonDatas.insert_or_assign(field.key(), std::move(field.value()));
    config.setCommonData(std::move(data));
}

void setUpChannel(Channel&& channel)
{
    const auto config = std::make_shared<TrackerConfig>(std::move(channel.index), channel.limit,
        std::move(channel.headers), Array(), false, channel.url.closure());
    config->setBodyEncoding(channel.encoding);
    config->setNonFiniteCost(channel.nonFinite);
    config->setBadAddress(channel.badAddress);
    config->setBatchId(channel.hasBatchId);
    config->setRetryPolicy(channel.retry);
    config->setLimits(channel.limits);
    if (channel.onStart)
        config->setStartHook(std::move(channel.onStart));
    if (channel.onStop)
        config->setStopHook(std::move(channel.onStop));
    if (channel.onRestart)
        config->setRestartHook(std::move(channel.onRestart));

    TrackerManager::shared().register_(config);
    if (channel.standardData != StandardData::none)
        setUpStandardData(*config, channel.standardData);
    if (!channel.commonData.empty() || channel.listKey)
        addCommonData(*config, channel);
}

// The log comes first, so that it has every line. The identifier is in the common data.
void setUp(TelvoraOptions&& options)
{
    if (options.log) {
        QuorvexLog::setLogService(std::move(options.log));
        QuorvexLog::configLogger();
    }
    TrackerManager& manager = TrackerManager::shared();
    if (options.mode)
        manager.setMode(*options.mode);
    if (options.identifier)
        manager.setQvxUuid(std::move(options.identifier));
    if (!options.headers.empty())
        TrackerManager::configHeaders(std::move(options.headers));
    if (options.limits.areSet())
        TrackerManager::setLimits(options.limits);
    if (options.onDiagnostic)
        TrackerManager::setDiagnosticsHandler(std::move(options.onDiagnostic));
    if (options.onEvent)
        TrackerManager::setTriggerCallback(std::move(options.onEvent));
    if (options.reportingProvider)
        manager.setupOstra(std::move(options.reportingProvider));
    for (Channel& channel : options.channels)
        setUpChannel(std::move(channel));
}

// What is wrong beside the options.
void checkState(const Platform* platform, std::vector<std::string>& problems)
{
    const Platform* used = detail::usedPlatform();
    if (!used)
        return;
    if (used != platform)
        problems.emplace_back("Another platform is installed or in use already");
    else if (TrackerManager::shared().trackerTimer().isRunning())
        problems.emplace_back("TrackerManager::start() was called before");
}

} // namespace

StartResult startTelvora(TelvoraOptions options, Platform& platform) noexcept
{
    return detail::startTelvora(
        std::move(options), &platform, [](auto&) {}, [&]() -> Platform& { return platform; });
}

StartResult detail::startTelvora(TelvoraOptions&& options, const Platform* platform,
    FunctionRef<void(std::vector<std::string>&)> checkPlatform,
    FunctionRef<Platform&()> makePlatform) noexcept
{
    bool isInstalled = false;
    try {
        if (isForkedChild())
            return refused({ "In a process that was forked from one that uses Telvora, every call "
                             "of Telvora does nothing" });
        if (s_isStarted.change().exchange(true))
            return refused({ "startTelvora() was called before" });

        std::vector<std::string> problems = problemsOf(options);
        checkPlatform(problems);
        checkState(platform, problems);
        if (problems.empty()) {
            isInstalled = tryInstallPlatform(makePlatform());
            if (!isInstalled)
                problems.emplace_back("Another thread has installed another platform meanwhile");
        }
        if (!isInstalled) {
            s_isStarted.change().store(false);
            return refused(std::move(problems));
        }

        setUp(std::move(options));
        TrackerManager::start();
        TrackerDataExcavator::initial();
        TrackerDataLifeCycleMonitor::setup();
        return { .isStarted = true };
    } catch (...) {
        if (!isInstalled)
            s_isStarted.change().store(false);
        return {};
    }
}

} // namespace telvora
