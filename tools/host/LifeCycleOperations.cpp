#include <tools/host/PageInfo.h>

#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Classes/Model/TrackerDataLifeCycleTrace.h>
#include <Telvora/Platform/NotificationCenter.h>
#include <tools/host/ScriptError.h>

#include <cstddef>

// Moves to the background and the foreground, and the page-lifecycle framework.
namespace telvora::host {

namespace {

using Platform = Operation::Platform;

constexpr std::int64_t stateCount = 3;

Result lifecycleSetup(const Call&)
{
    TrackerDataLifeCycleMonitor::setup();
    return {};
}

Result lifecycleEnabled(const Call& call)
{
    if (call.arguments.given("on"))
        TrackerDataLifeCycleMonitor::setIsEnabled(call.arguments.flag("on"));
    return Value(TrackerDataLifeCycleMonitor::isEnabled());
}

Result addViewControllerInfo(const Call& call)
{
    TrackerDataExcavator::addViewControllerInfo(
        call.arguments.text("key"), call.arguments.text("value"));
    return {};
}

Result topViewControllerInfo(const Call&)
{
    return topPage();
}

Result didEnterBackground(const Call& call)
{
    call.host.world().notificationCenter().post(Notification::didEnterBackground);
    return {};
}

Result willEnterForeground(const Call& call)
{
    call.host.world().notificationCenter().post(Notification::willEnterForeground);
    return {};
}

std::int64_t position(const Arguments& arguments, std::string_view name, std::size_t count)
{
    const std::int64_t position = arguments.integer(name);
    if (position < 0 || position >= static_cast<std::int64_t>(count))
        throw ScriptError("\"" + std::string(name) + "\" is out of range");
    return position;
}

Result lifecycle(const Call& call)
{
    const std::string sceneName = call.arguments.text("sceneName");
    const auto id = call.arguments.optionalText("scene");
    const auto occasion = static_cast<LifeCycleTraceOccasion>(
        position(call.arguments, "occasion", lifeCycleTraceOccasionRawValues.size()));
    const auto state
        = static_cast<LifeCycleTraceState>(position(call.arguments, "state", stateCount));
    // Weak, because the framework that this operation stands for does not own screens.
    const std::weak_ptr<UIViewController> scene
        = id ? screenNamed(call.host, *id) : std::shared_ptr<UIViewController>();

    const auto adaptor = TrackerDataLifeCycleTrace::create(sceneName);
    adaptor->setScene(scene);
    adaptor->activeActionHandler(occasion, state);
    return {};
}

Result lifecycleAdaptor(const Call& call)
{
    const auto adaptor = TrackerDataLifeCycleTrace::create(call.arguments.text("sceneName"));
    const LifeCycleResolveRule& rule = adaptor->occasionRule().rule();
    const auto scene = adaptor->scene();
    Dictionary result;
    result["sceneName"] = adaptor->sceneName();
    result["scene"] = scene ? Value(scene->className()) : Value(nullptr);
    result["rule"] = Dictionary {
        { "values", Array { rule.values[0], rule.values[1] } },
        { "end", rule.end },
    };
    return Value(std::move(result));
}

Result occasions(const Call&)
{
    Array texts;
    for (const std::string_view text : lifeCycleTraceOccasionRawValues)
        texts.emplace_back(text);
    return Value(std::move(texts));
}

Result selectorResolve(const Call& call)
{
    const auto occasion
        = TrackerDataLifeCycleTrace::create("")->selectorResolve(call.arguments.text("sel"));
    return occasion ? Value(static_cast<std::int64_t>(*occasion)) : Value(nullptr);
}

} // namespace

void addLifeCycleOperations(OperationTable& table)
{
    table["lifecycleSetup"] = { .run = lifecycleSetup };
    table["lifecycleEnabled"] = { .run = lifecycleEnabled };
    table["addViewControllerInfo"] = { .run = addViewControllerInfo };
    table["topViewControllerInfo"] = { .run = topViewControllerInfo };
    table["applicationDidEnterBackground"] = { .run = didEnterBackground };
    table["applicationWillEnterForeground"] = { .run = willEnterForeground };
    table["lifecycle"] = { .run = lifecycle };
    table["lifecycleAdaptor"] = { .run = lifecycleAdaptor, .platform = Platform::simulated };
    table["occasions"] = { .run = occasions, .platform = Platform::simulated };
    table["selectorResolve"] = { .run = selectorResolve, .platform = Platform::simulated };
}

} // namespace telvora::host
