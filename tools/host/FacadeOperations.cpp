#include <tools/host/Operations.h>

#include <Telvora/Classes/TrackerManager.h>
#include <tools/host/Markers.h>
#include <tools/host/ScriptError.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <utility>

// The operations of TrackerManager except APM reports.
namespace telvora::host {

namespace {

TrackerManager& manager()
{
    return TrackerManager::shared();
}

class ReportingProvider final : public QVXOstraProviderProtocol {
public:
    explicit ReportingProvider(Host& host)
        : m_host(host)
    {
    }

    void report(const std::string& name, const std::string& content) override
    {
        m_host.called(
            "report", { { "event", "report" }, { "name", name }, { "content", content } });
    }

private:
    Host& m_host;
};

Result setMode(const Call& call)
{
    const std::string mode = call.arguments.text("mode");
    if (mode != "debug" && mode != "release")
        throw ScriptError("\"mode\" is \"debug\" or \"release\"");
    manager().setMode(mode == "debug" ? TrackerMode::debug : TrackerMode::release);
    return {};
}

Result mode(const Call&)
{
    return Value(TrackerConfiguration::mode() == TrackerMode::debug ? "debug" : "release");
}

Result configHeaders(const Call& call)
{
    TrackerManager::configHeaders(call.arguments.strings("headers"));
    return {};
}

Result setQvxUuid(const Call& call)
{
    const auto value = call.arguments.textOrNull("value");
    manager().setQvxUuid([&host = call.host, value] {
        host.called("uuid", { { "event", "uuid" }, { "value", *resultOf(value) } });
        return value;
    });
    return {};
}

Result uuid(const Call&)
{
    return resultOf(TrackerManager::uuid());
}

Result sessionId(const Call&)
{
    return Value(manager().sessionId());
}

TrackerConfig::Hook makeHook(
    Host& host, const std::string& name, const std::string& index, const Value* tag)
{
    Dictionary event { { "event", "hook" }, { "hook", name }, { "index", index } };
    if (tag)
        event["tag"] = *tag;
    return [&host, name, index, event = std::move(event)] { host.called(name, event, &index); };
}

void setHook(TrackerConfig& config, const std::string& name, TrackerConfig::Hook hook)
{
    if (name == "start")
        config.setStartHook(std::move(hook));
    else if (name == "stop")
        config.setStopHook(std::move(hook));
    else
        config.setRestartHook(std::move(hook));
}

std::vector<std::string> hookNames(const Arguments& arguments)
{
    auto names = arguments.texts("hooks");
    for (const std::string& name : names) {
        if (name != "start" && name != "stop" && name != "restart")
            throw ScriptError("No hook is called \"" + name + "\"");
    }
    return names;
}

Array events(const Arguments& arguments)
{
    if (!arguments.given("apiDatas"))
        return {};
    const Array& given = arguments.array("apiDatas");
    for (const Value& event : given)
        asDictionary(event, "apiDatas");
    return copy(given);
}

std::chrono::duration<double> seconds(
    const Arguments& arguments, std::string_view name, std::chrono::duration<double> otherwise)
{
    const double seconds = arguments.number(name, otherwise.count());
    if (!std::isfinite(seconds) || seconds < 0)
        throw ScriptError(
            '"' + std::string(name) + "\" wants a number that is not negative and has an end");
    return std::chrono::duration<double>(seconds);
}

RetryPolicy retryPolicy(const Arguments& arguments)
{
    RetryPolicy policy;
    if (arguments.has("tries") && !arguments.given("tries"))
        policy.tries.reset();
    else
        policy.tries = arguments.integer("tries", *policy.tries);
    if (policy.tries && *policy.tries < 1)
        throw ScriptError("\"tries\" wants a number above 0");
    policy.first = seconds(arguments, "first", policy.first);
    policy.longest = seconds(arguments, "longest", policy.longest);
    policy.jitter = arguments.flag("jitter", policy.jitter);
    return policy;
}

// What a channel may choose beside its constructor's parameters.
void setChoices(TrackerConfig& config, const Arguments& arguments)
{
    config.setNonFiniteCost(arguments.choice<NonFiniteCost>("nonFinite",
        { { "batch", NonFiniteCost::batch }, { "event", NonFiniteCost::event },
            { "null", NonFiniteCost::null } }));
    config.setBadAddress(arguments.choice<BadAddress>(
        "badAddress", { { "stop", BadAddress::stop }, { "fail", BadAddress::fail } }));
    config.setBodyEncoding(
        arguments.flag("gzip", false) ? BodyEncoding::gzip : BodyEncoding::plain);
    config.setBatchId(arguments.flag("batchId", false));
    if (const Value* retry = arguments.given("retry"))
        config.setRetryPolicy(retryPolicy(Arguments(asDictionary(*retry, "retry"))));
    if (const Value* limits = arguments.given("limits"))
        config.setLimits(limitsOf(Arguments(asDictionary(*limits, "limits")), config.limits()));
}

Result registerChannel(const Call& call)
{
    const Arguments& arguments = call.arguments;
    const std::string index = arguments.text("index");
    const auto url = std::make_shared<lockAtomic<std::string>>(arguments.text("url"));
    auto urlHook = [&host = call.host, index, url] {
        std::string current = url->getValue();
        host.called("url", { { "event", "url" }, { "index", index }, { "url", current } }, &index);
        return current;
    };
    const auto hooks = arguments.given("hooks") ? hookNames(arguments) : std::vector<std::string>();
    auto config = std::make_shared<TrackerConfig>(index, arguments.integer("maxLimit"),
        arguments.given("headers") ? arguments.strings("headers") : StringDictionary(),
        events(arguments), arguments.flag("useOstraReport", false), std::move(urlHook));
    for (const std::string& name : hooks)
        setHook(*config, name, makeHook(call.host, name, index, nullptr));
    setChoices(*config, arguments);
    if (arguments.flag("checkAddress", false)) {
        if (const auto error = config->addressError())
            throw ScriptError(*error);
    }

    manager().register_(config);
    // After a shutdown it is not taken.
    if (manager().config(index) == config)
        call.host.addChannel(index, { std::move(config), url });
    return {};
}

Result setHooks(const Call& call)
{
    const std::string index = call.arguments.text("index");
    const auto names = hookNames(call.arguments);
    const bool areEmpty = call.arguments.flag("empty", false);
    const Channel channel = call.host.channel(index);
    for (const std::string& name : names) {
        setHook(*channel.config, name,
            areEmpty ? TrackerConfig::Hook()
                     : makeHook(call.host, name, index, call.arguments.given("tag")));
    }
    return {};
}

Result setUrl(const Call& call)
{
    const std::string url = call.arguments.text("url");
    call.host.channel(call.arguments.text("index")).url->setValue(url);
    return {};
}

Result setupCommonDatas(const Call& call)
{
    manager().setupCommonDatas(call.arguments.dictionary("commonDatas"),
        call.arguments.text("dataListKey"), call.arguments.text("for"));
    return {};
}

Result start(const Call&)
{
    TrackerManager::start();
    return {};
}

Result stop(const Call&)
{
    TrackerManager::stop();
    return {};
}

Result appendTracker(const Call& call)
{
    const Dictionary& event = call.arguments.dictionary("event");
    const std::string index = call.arguments.text("for");
    const std::int64_t count = call.arguments.integer("count", 1);
    if (count < 0)
        throw ScriptError("\"count\" wants a number that is not negative");
    for (std::int64_t number = 0; number < count; ++number) {
        Value numbered(copy(event));
        replaceMarker(numbered, "$n", number);
        // An event that was only the marker is a number now.
        if (!numbered.is_object())
            throw ScriptError("\"event\" wants an object");
        manager().appendTracker(std::move(numbered.get_object()), index);
    }
    return {};
}

Result setTriggerCallback(const Call& call)
{
    if (call.arguments.flag("on", true))
        call.host.reportTriggers();
    else
        TrackerManager::setTriggerCallback([](const Dictionary&, const std::string&) {});
    return {};
}

Result setupOstra(const Call& call)
{
    const bool isInstalled = call.arguments.flag("installed");
    manager().setupOstra(isInstalled ? std::make_shared<ReportingProvider>(call.host) : nullptr);
    return {};
}

Result updateTracker(const Call& call)
{
    manager().updateTracker(call.arguments.texts("list"));
    return {};
}

Result getCurrentNetWorkStatus(const Call&)
{
    return Value(manager().getCurrentNetWorkStatus());
}

Result onStatusChange(const Call& call)
{
    manager().networkStatus().onStatusChange([&host = call.host](TrackNetworkStatus status) {
        host.calledOnAnyThread("networkStatus",
            { { "event", "networkStatus" }, { "isConnected", status.isConnected },
                { "networkType", rawValue(status.networkType) } });
    });
    return {};
}

Result enrollE2ETrack(const Call& call)
{
    manager().enrollE2ETrack(call.arguments.dictionary("event"));
    return {};
}

Result enrollMPTrack(const Call& call)
{
    manager().enrollMPTrack(call.arguments.dictionary("event"));
    return {};
}

Result enrollSentryTrack(const Call& call)
{
    const bool byAPM = call.arguments.flag("byAPM");
    manager().enrollSentryTrack(call.arguments.dictionary("event"), byAPM);
    return {};
}

Result getCommonE2EDatas(const Call&)
{
    return Value(manager().getCommonE2EDatas());
}

Result setupCommonE2EDatas(const Call&)
{
    manager().setupCommonE2EDatas();
    return {};
}

Result setupCommonMPDatas(const Call&)
{
    manager().setupCommonMPDatas();
    return {};
}

Result setupCommonSentryDatas(const Call& call)
{
    const bool flag = call.arguments.flag("flag");
    manager().setupCommonSentryDatas(flag, call.arguments.flag("byAPM"));
    return {};
}

Result setupCommonVendelDatas(const Call&)
{
    manager().setupCommonVendelDatas();
    return {};
}

} // namespace

void addFacadeOperations(OperationTable& table)
{
    const auto add = [&](const char* name, Result (*run)(const Call&)) {
        table[name] = { .run = run, .touchesManager = true };
    };
    add("setMode", setMode);
    add("mode", mode);
    add("configHeaders", configHeaders);
    add("setQvxUuid", setQvxUuid);
    add("uuid", uuid);
    add("sessionId", sessionId);
    add("register", registerChannel);
    // A second channel of one index ends the process: lines of other threads must not be kept back.
    table["register"].letsOthersWrite = true;
    add("setHooks", setHooks);
    add("setUrl", setUrl);
    add("setupCommonDatas", setupCommonDatas);
    add("start", start);
    add("stop", stop);
    add("appendTracker", appendTracker);
    add("setTriggerCallback", setTriggerCallback);
    add("setupOstra", setupOstra);
    add("updateTracker", updateTracker);
    add("getCurrentNetWorkStatus", getCurrentNetWorkStatus);
    add("onStatusChange", onStatusChange);
    add("enrollE2ETrack", enrollE2ETrack);
    add("enrollMPTrack", enrollMPTrack);
    add("enrollSentryTrack", enrollSentryTrack);
    add("getCommonE2EDatas", getCommonE2EDatas);
    add("setupCommonE2EDatas", setupCommonE2EDatas);
    add("setupCommonMPDatas", setupCommonMPDatas);
    add("setupCommonSentryDatas", setupCommonSentryDatas);
    add("setupCommonVendelDatas", setupCommonVendelDatas);
}

} // namespace telvora::host
