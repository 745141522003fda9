#include <tools/host/Operations.h>

#include <Telvora/Classes/TrackerManager.h>
#include <tools/host/ScriptError.h>

#include <boost/describe/members.hpp>
#include <boost/mp11/algorithm.hpp>

#include <memory>
#include <utility>

// APM reports and the measurements that end in one.
namespace telvora::host {

namespace {

TrackerManager& manager()
{
    return TrackerManager::shared();
}

void assign(std::string& field, const Value& value, std::string_view what)
{
    field = asText(value, what);
}
void assign(bool& field, const Value& value, std::string_view what)
{
    field = asFlag(value, what);
}
void assign(std::int64_t& field, const Value& value, std::string_view what)
{
    field = asInteger(value, what);
}
void assign(double& field, const Value& value, std::string_view what)
{
    field = asNumber(value, what);
}
void assign(StringDictionary& field, const Value& value, std::string_view what)
{
    field = asStrings(value, what);
}
void assign(Dictionary& field, const Value& value, std::string_view what)
{
    field = copy(asDictionary(value, what));
}

template<typename T> void assign(std::optional<T>& field, const Value& value, std::string_view what)
{
    if (value.is_null()) {
        field.reset();
        return;
    }
    T present {};
    assign(present, value, what);
    field = std::move(present);
}

void setField(TrackerMeta& record, std::string_view name, const Value& value)
{
    using Members = boost::describe::describe_members<TrackerMeta, boost::describe::mod_public>;
    bool isKnown = false;
    boost::mp11::mp_for_each<Members>([&](auto member) {
        if (detail::keyOf(member.name) != name)
            return;
        isKnown = true;
        assign(record.*member.pointer, value, name);
    });
    if (!isKnown)
        throw ScriptError("A record has no field \"" + std::string(name) + "\"");
}

// Sets all fields, or none where one is wrong.
void setFields(TrackerMeta& record, const Value* fields)
{
    if (!fields)
        return;
    TrackerMeta changed = record;
    for (const auto& field : asDictionary(*fields, "fields"))
        setField(changed, field.key(), field.value());
    record = std::move(changed);
}

TrackerMeta newRecord(const Arguments& arguments)
{
    TrackerMeta record(TrackerMeta::T(arguments.text("type")));
    setFields(record, arguments.given("fields"));
    return record;
}

Result trackerMeta(const Call& call)
{
    const std::string name = call.arguments.text("name");
    auto record = std::make_shared<TrackerMeta>(newRecord(call.arguments));
    Dictionary dictionary = record->asDictionary();
    call.host.keepRecord(name, std::move(record));
    return Value(std::move(dictionary));
}

Result record(const Call& call)
{
    const auto kept = call.host.record(call.arguments.text("name"));
    setFields(*kept, call.arguments.given("fields"));
    return Value(kept->asDictionary());
}

Result enrollAPMReport(const Call& call)
{
    const bool useOstra = call.arguments.flag("useOstra", false);
    if (call.arguments.given("record"))
        manager().enrollAPMReport(*call.host.record(call.arguments.text("record")), useOstra);
    else
        manager().enrollAPMReport(newRecord(call.arguments), useOstra);
    return {};
}

Result reportAPMDict(const Call& call)
{
    const bool immediately = call.arguments.flag("immediately", false);
    const bool useOstra = call.arguments.flag("useOstra", false);
    manager().reportAPMDict(call.arguments.dictionary("dict"), immediately, useOstra);
    return {};
}

Result enrollSlowFrameTrack(const Call& call)
{
    const Arguments& arguments = call.arguments;
    manager().enrollSlowFrameTrack(arguments.number("slowInterval"),
        arguments.number("totalInterval"), arguments.text("topViewController"),
        arguments.flag("useOstra", false));
    return {};
}

Result enrollFrozenFrameTrack(const Call& call)
{
    const Arguments& arguments = call.arguments;
    manager().enrollFrozenFrameTrack(arguments.number("frozenInterval"),
        arguments.number("totalInterval"), arguments.text("topViewController"),
        arguments.flag("useOstra", false));
    return {};
}

Result enrollPageViewTrack(const Call& call)
{
    const Arguments& arguments = call.arguments;
    manager().enrollPageViewTrack(
        arguments.text("topViewController"), arguments.flag("useOstra", false));
    return {};
}

Result enrollSkarnTrack(const Call& call)
{
    const Arguments& arguments = call.arguments;
    manager().enrollSkarnTrack(
        arguments.text("backtrace"), arguments.text("cpu"), arguments.flag("useOstra", false));
    return {};
}

Result enrollFirstFrameTrack(const Call& call)
{
    const Arguments& arguments = call.arguments;
    manager().enrollFirstFrameTrack(arguments.number("frameInterval"),
        arguments.text("topViewController"), arguments.flag("useOstra", false));
    return {};
}

Result enrollLCPTrack(const Call& call)
{
    const Arguments& arguments = call.arguments;
    manager().enrollLCPTrack(arguments.number("startTime"), arguments.number("initTime"),
        arguments.number("renderTime"), arguments.number("requestTime"),
        arguments.number("firstFrameTime"), arguments.number("totalTime"),
        arguments.text("pageName"), arguments.flag("useOstra", false));
    return {};
}

Result enrollLaunchTrack(const Call& call)
{
    std::map<std::string, double, std::less<>> with;
    for (const auto& member : call.arguments.dictionary("with"))
        with.insert_or_assign(std::string(member.key()), asNumber(member.value(), member.key()));
    manager().enrollLaunchTrack(with, call.arguments.flag("useOstra", false));
    return {};
}

} // namespace

void addReportOperations(OperationTable& table)
{
    const auto add = [&](const char* name, Result (*run)(const Call&)) {
        table[name] = { .run = run, .touchesManager = true };
    };
    add("trackerMeta", trackerMeta);
    add("record", record);
    add("enrollAPMReport", enrollAPMReport);
    add("reportAPMDict", reportAPMDict);
    add("enrollSlowFrameTrack", enrollSlowFrameTrack);
    add("enrollFrozenFrameTrack", enrollFrozenFrameTrack);
    add("enrollPageViewTrack", enrollPageViewTrack);
    add("enrollSkarnTrack", enrollSkarnTrack);
    add("enrollFirstFrameTrack", enrollFirstFrameTrack);
    add("enrollLCPTrack", enrollLCPTrack);
    add("enrollLaunchTrack", enrollLaunchTrack);
}

} // namespace telvora::host
