#include <tools/host/PageInfo.h>

#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <tools/host/ScriptError.h>

#include <algorithm>
#include <array>
#include <functional>
#include <utility>
#include <vector>

namespace telvora::host {

namespace {

using Excavator = TrackerDataExcavator;

// An assignment whose value was checked already.
using Assignment = std::function<void()>;

struct StaticValue {
    std::string_view name;
    Value (*get)();
    // Null for a value that cannot be assigned.
    Assignment (*set)(Host& host, const Value& value, std::string_view name);
};

Value orNull(const std::optional<std::string>& text)
{
    return *resultOf(text);
}

template<void (*set)(std::string)>
Assignment assignText(Host&, const Value& value, std::string_view name)
{
    return [text = asText(value, name)] { set(text); };
}

template<void (*set)(std::optional<std::string>)>
Assignment assignOptionalText(Host&, const Value& value, std::string_view name)
{
    return [text = asOptionalText(value, name)] { set(text); };
}

template<void (*set)(bool)> Assignment assignFlag(Host&, const Value& value, std::string_view name)
{
    return [flag = asFlag(value, name)] { set(flag); };
}

Assignment assignPpi(Host&, const Value& value, std::string_view name)
{
    return [number = asInteger(value, name)] { Excavator::setScreenPpi(number); };
}

Assignment assignStart(Host&, const Value& value, std::string_view name)
{
    return [number = asNumber(value, name)] { Excavator::setStartTimestamp(number); };
}

Assignment assignWhiteList(Host&, const Value& value, std::string_view name)
{
    return [suffixes = asTexts(value, name)] {
        Excavator::setMonitorViewControllerWhiteList(suffixes);
    };
}

// Here "vc" is the id of a screen.
Assignment assignPage(Host& host, const Value& value, std::string_view name)
{
    if (value.is_null())
        return [] { Excavator::setTopViewControllerInfo(std::nullopt); };
    const Arguments page(asDictionary(value, name));
    ViewControllerInfo info;
    if (const auto id = page.optionalText("vc"))
        info.vc = screenNamed(host, *id);
    if (page.given("params"))
        info.params = page.strings("params");
    return [info] { Excavator::setTopViewControllerInfo(info); };
}

constexpr std::array staticValues {
    StaticValue { "mobileName", [] { return Value(Excavator::mobileName()); },
        assignText<Excavator::setMobileName> },
    StaticValue { "modelName", [] { return orNull(Excavator::modelName()); },
        assignOptionalText<Excavator::setModelName> },
    StaticValue { "systemVersion", [] { return orNull(Excavator::systemVersion()); },
        assignOptionalText<Excavator::setSystemVersion> },
    StaticValue { "appVersion", [] { return orNull(Excavator::appVersion()); },
        assignOptionalText<Excavator::setAppVersion> },
    StaticValue { "screenResolution", [] { return Value(Excavator::screenResolution()); },
        assignText<Excavator::setScreenResolution> },
    StaticValue { "screenPpi", [] { return Value(Excavator::screenPpi()); }, assignPpi },
    StaticValue { "screenSize", [] { return Value(Excavator::screenSize()); },
        assignText<Excavator::setScreenSize> },
    StaticValue { "jailbreaked", [] { return Value(Excavator::jailbreaked()); },
        assignFlag<Excavator::setJailbreaked> },
    StaticValue { "mobileOperator", [] { return Value(Excavator::mobileOperator()); },
        assignText<Excavator::setMobileOperator> },
    StaticValue {
        "startTimestamp", [] { return Value(Excavator::startTimestamp()); }, assignStart },
    StaticValue { "timestamp", [] { return Value(Excavator::timestamp()); }, nullptr },
    StaticValue { "cpuCount", [] { return Value(Excavator::cpuCount()); }, nullptr },
    StaticValue { "networkStatus", [] { return orNull(Excavator::networkStatus()); }, nullptr },
    StaticValue { "topViewControllerInfo", topPage, assignPage },
    StaticValue { "isTransitioning", [] { return Value(Excavator::isTransitioning()); },
        assignFlag<Excavator::setIsTransitioning> },
    StaticValue { "isTransitioningControl",
        [] { return Value(Excavator::isTransitioningControl()); },
        assignFlag<Excavator::setIsTransitioningControl> },
    StaticValue { "monitorViewControllerWhiteList",
        [] {
            Array list;
            for (const std::string& suffix : Excavator::monitorViewControllerWhiteList())
                list.emplace_back(suffix);
            return Value(std::move(list));
        },
        assignWhiteList },
};

const StaticValue& staticValue(std::string_view name)
{
    const auto found = std::find_if(staticValues.begin(), staticValues.end(),
        [&](const StaticValue& candidate) { return candidate.name == name; });
    if (found == staticValues.end())
        throw ScriptError("No static value is called \"" + std::string(name) + "\"");
    return *found;
}

Result excavator(const Call& call)
{
    std::vector<const StaticValue*> wanted;
    if (call.arguments.given("names")) {
        for (const std::string& name : call.arguments.texts("names"))
            wanted.push_back(&staticValue(name));
    } else {
        for (const StaticValue& value : staticValues)
            wanted.push_back(&value);
    }
    Dictionary values;
    for (const StaticValue* value : wanted)
        values[value->name] = value->get();
    return Value(std::move(values));
}

Result setExcavator(const Call& call)
{
    std::vector<Assignment> assignments;
    for (const auto& member : call.arguments.dictionary("values")) {
        const StaticValue& value = staticValue(member.key());
        if (!value.set)
            throw ScriptError("\"" + std::string(value.name) + "\" cannot be assigned");
        assignments.push_back(value.set(call.host, member.value(), value.name));
    }
    for (const Assignment& assign : assignments)
        assign();
    return {};
}

Result excavatorInitial(const Call&)
{
    Excavator::initial();
    return {};
}

} // namespace

void addExcavatorOperations(OperationTable& table)
{
    table["excavator"] = { .run = excavator };
    table["setExcavator"] = { .run = setExcavator };
    table["excavatorInitial"] = { .run = excavatorInitial };
}

} // namespace telvora::host
