#include <tools/host/Operations.h>

#include <Telvora/Classes/Domain/TrackerDomainConstant.h>
#include <Telvora/Classes/Model/CommonTrackerModel.h>
#include <Telvora/Classes/Model/TrackNetworkStatus.h>
#include <Telvora/LoggableKit/Classes/Extension/Dictionary+Extension.h>
#include <tools/host/ScriptError.h>

// Enumerations and values, and their texts.
namespace telvora::host {

namespace {

// The names of the cases are their raw values.
Result defaultIndexNamed(const Call& call)
{
    const auto index = defaultIndex(call.arguments.text("rawValue"));
    return index ? Value(rawValue(*index)) : Value(nullptr);
}

Result networkStatusType(const Call& call)
{
    const auto type = trackNetworkStatusType(call.arguments.text("rawValue"));
    return type ? Value(caseName(*type)) : Value(nullptr);
}

Result jsonString(const Call& call)
{
    return resultOf(
        toJSONString(call.arguments.dictionary("dict"), call.arguments.flag("prettyPrint", true)));
}

Reachability::Connection connectionNamed(const std::string& name)
{
    if (name == "none")
        return Reachability::Connection::none;
    if (name == "wifi")
        return Reachability::Connection::wifi;
    if (name == "cellular")
        return Reachability::Connection::cellular;
    throw ScriptError("A connection is \"none\", \"wifi\" or \"cellular\"");
}

Result networkStatusEncode(const Call& call)
{
    const auto connection = connectionNamed(call.arguments.text("connection"));
    return Value(TrackNetworkStatus::of(connection).encode());
}

Result networkStatusDecode(const Call& call)
{
    const auto status = TrackNetworkStatus::decode(call.arguments.text("text"));
    if (!status)
        return Value(nullptr);
    return Value(Dictionary {
        { "isConnected", status->isConnected },
        { "networkType", rawValue(status->networkType) },
    });
}

Result commonTrackerModel(const Call&)
{
    return Value(CommonTrackerModel().asDictionary());
}

Result trackerWrapper(const Call&)
{
    return Value(TrackerWrapper().asDictionary());
}

} // namespace

void addValueOperations(OperationTable& table)
{
    table["defaultIndex"] = { .run = defaultIndexNamed };
    table["networkStatusType"] = { .run = networkStatusType };
    table["toJSONString"] = { .run = jsonString };
    table["networkStatusEncode"] = { .run = networkStatusEncode };
    table["networkStatusDecode"] = { .run = networkStatusDecode };
    table["commonTrackerModel"] = { .run = commonTrackerModel };
    table["trackerWrapper"] = { .run = trackerWrapper };
}

} // namespace telvora::host
