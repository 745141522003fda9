#include <tools/host/Operations.h>

#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <tools/host/ScriptError.h>

#include <cmath>
#include <set>
#include <utility>
#include <vector>

// Device, network and files of the simulated platform.
namespace telvora::host {

namespace {

using Platform = Operation::Platform;

UserInterfaceIdiom idiomNamed(const std::string& name)
{
    if (name == "phone")
        return UserInterfaceIdiom::phone;
    if (name == "pad")
        return UserInterfaceIdiom::pad;
    if (name == "other")
        return UserInterfaceIdiom::other;
    throw ScriptError("\"idiom\" is \"phone\", \"pad\" or \"other\"");
}

void changeScreen(ScriptedDevice::Values& values, const Value* given)
{
    if (!given)
        return;
    const Arguments screen(asDictionary(*given, "screen"));
    values.screenBounds.width = screen.number("width", values.screenBounds.width);
    values.screenBounds.height = screen.number("height", values.screenBounds.height);
    values.screenScale = screen.number("scale", values.screenScale);
}

Result device(const Call& call)
{
    const Arguments& arguments = call.arguments;
    ScriptedDevice& device = call.simulated().device();
    ScriptedDevice::Values values = device.values();
    values.safeDescription = arguments.text("safeDescription", values.safeDescription);
    values.identifier = arguments.text("identifier", values.identifier);
    if (arguments.has("ppi")) {
        values.ppi
            = arguments.given("ppi") ? std::optional(arguments.integer("ppi")) : std::nullopt;
    }
    values.systemVersion = arguments.text("systemVersion", values.systemVersion);
    if (arguments.given("idiom"))
        values.idiom = idiomNamed(arguments.text("idiom"));
    changeScreen(values, arguments.given("screen"));
    values.activeProcessorCount
        = arguments.integer("activeProcessorCount", values.activeProcessorCount);
    device.setValues(std::move(values));
    return {};
}

Result bundle(const Call& call)
{
    ScriptedBundle& bundle = call.simulated().bundle();
    const Value* info = call.arguments.given("info");
    Dictionary newInfo = info ? copy(asDictionary(*info, "info")) : Dictionary();
    if (call.arguments.has("identifier"))
        bundle.setBundleIdentifier(call.arguments.textOrNull("identifier"));
    if (info)
        bundle.setInfoDictionary(std::move(newInfo));
    return {};
}

Result carriers(const Call& call)
{
    const Value& list = call.arguments.value("list");
    std::optional<Telephony::Carriers> carriers;
    if (!list.is_null()) {
        carriers.emplace();
        for (const Value& element : asArray(list, "list")) {
            const Arguments service(asDictionary(element, "list"));
            carriers->emplace_back(service.text("service", ""),
                Carrier {
                    service.optionalText("carrierName"), service.optionalText("isoCountryCode") });
        }
    }
    call.simulated().telephony().setCarriers(std::move(carriers));
    return {};
}

Result radio(const Call& call)
{
    const Value& list = call.arguments.value("list");
    std::optional<Telephony::RadioTechnologies> technologies;
    if (!list.is_null()) {
        technologies.emplace();
        for (const Value& element : asArray(list, "list")) {
            const Arguments service(asDictionary(element, "list"));
            technologies->emplace_back(service.text("service", ""), service.text("technology"));
        }
    }
    call.simulated().telephony().setRadioTechnologies(std::move(technologies));
    return {};
}

ScriptedReachability::Value connectionNamed(const std::string& name)
{
    using Connection = ScriptedReachability::Value;
    if (name == "none")
        return Connection::none;
    if (name == "wifi")
        return Connection::wifi;
    if (name == "cellular")
        return Connection::cellular;
    if (name == "unavailable")
        return Connection::unavailable;
    throw ScriptError("\"value\" is \"none\", \"wifi\", \"cellular\" or \"unavailable\"");
}

ScriptedReachability::Whose objectsNamed(const std::string& name)
{
    using Whose = ScriptedReachability::Whose;
    if (name == "all")
        return Whose::all;
    if (name == "holder")
        return Whose::held;
    if (name == "fresh")
        return Whose::oneReading;
    throw ScriptError("\"of\" is \"all\", \"holder\" or \"fresh\"");
}

Result connection(const Call& call)
{
    ScriptedReachability& reachability = call.simulated().reachability();
    const auto whose = objectsNamed(call.arguments.text("of", "all"));
    const auto name = call.arguments.optionalText("value");
    const auto value = connectionNamed(name.value_or("wifi"));
    if (call.arguments.given("notifierFails"))
        reachability.setNotifierFails(call.arguments.flag("notifierFails"));
    if (name)
        reachability.setConnection(value, whose);
    return {};
}

std::optional<std::set<std::string>> setOf(const Arguments& arguments, std::string_view name)
{
    if (!arguments.given(name))
        return std::nullopt;
    const auto texts = arguments.texts(name);
    return std::set<std::string>(texts.begin(), texts.end());
}

Result files(const Call& call)
{
    auto existing = setOf(call.arguments, "existing");
    auto writable = setOf(call.arguments, "writable");
    auto openable = setOf(call.arguments, "openableURLs");
    SimulatedPlatform& platform = call.simulated();
    if (existing)
        platform.fileManager().setExisting(std::move(*existing));
    if (writable)
        platform.fileManager().setWritable(std::move(*writable));
    if (openable)
        platform.application().setOpenableURLs(std::move(*openable));
    return {};
}

ScriptedAnswer answerIn(const Arguments& given)
{
    ScriptedAnswer answer;
    if (given.has("body"))
        answer = ScriptedAnswer::body(
            given.text("body"), static_cast<int>(given.integer("status", 200)));
    else if (given.has("error"))
        answer = ScriptedAnswer::error(given.text("error"));
    else if (given.flag("noData", false))
        answer = ScriptedAnswer::noData();
    else if (given.flag("later", false))
        answer = ScriptedAnswer::later();
    else
        throw ScriptError("An answer has a \"body\", an \"error\", \"noData\" or \"later\"");

    const double seconds = given.number("after", 0);
    if (std::isnan(seconds) || seconds < 0)
        throw ScriptError("\"after\" wants a number that is not negative");
    answer = answer.after(nanosecondsFromSeconds(seconds));
    if (given.given("headers")) {
        const StringDictionary headers = given.strings("headers");
        answer = answer.with({ headers.begin(), headers.end() });
    }
    return given.flag("inline", false) ? answer.inlined() : answer;
}

Result http(const Call& call)
{
    std::vector<ScriptedAnswer> answers;
    for (const Value& element : call.arguments.array("answers"))
        answers.push_back(answerIn(Arguments(asDictionary(element, "answers"))));
    const bool repeats = call.arguments.flag("repeat", false);
    ScriptedHTTPClient& client = call.simulated().httpClient();
    if (const auto url = call.arguments.optionalText("url"))
        client.setAnswers(*url, std::move(answers), repeats);
    else
        client.setAnswers(std::move(answers), repeats);
    return {};
}

Result answer(const Call& call)
{
    const std::int64_t number = call.arguments.integer("number");
    const ScriptedAnswer answer = answerIn(call.arguments);
    const bool isWaiting = number > 0
        && call.simulated().httpClient().answer(static_cast<std::size_t>(number), answer);
    if (!isWaiting)
        throw ScriptError("No request of that number waits for an answer");
    return {};
}

} // namespace

void addWorldOperations(OperationTable& table)
{
    const auto add = [&](const char* name, Result (*run)(const Call&)) {
        table[name] = { .run = run, .platform = Platform::simulated };
    };
    add("device", device);
    add("bundle", bundle);
    add("carriers", carriers);
    add("radio", radio);
    add("connection", connection);
    add("files", files);
    add("http", http);
    add("answer", answer);
}

} // namespace telvora::host
