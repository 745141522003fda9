#include <tools/host/Operations.h>

#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <tools/host/ScriptError.h>

#include <array>
#include <memory>
#include <utility>

namespace telvora::host {

namespace {

// The host's log service: writes each log line as an event.
class ReportingLogService final : public LogService {
public:
    explicit ReportingLogService(Host& host)
        : m_host(host)
    {
    }

    void loggerInit() override { m_host.called("loggerInit", { { "event", "loggerInit" } }); }

    void log(unsigned level, const std::string& message) override
    {
        m_host.called("log", { { "event", "log" }, { "level", level }, { "message", message } });
    }

private:
    Host& m_host;
};

std::vector<QuorvexLogCategory> categories(const Value& names, std::string_view what)
{
    std::vector<QuorvexLogCategory> list;
    for (std::string& name : asTexts(names, what))
        list.emplace_back(std::move(name));
    return list;
}

QuorvexLogFilter namedFilter(const std::string& name)
{
    using Preset = QuorvexLogFilter (*)();
    static constexpr std::array<std::pair<std::string_view, Preset>, 6> presets { {
        { "all", QuorvexLogFilter::all },
        { "none", QuorvexLogFilter::none },
        { "onlyUI", QuorvexLogFilter::onlyUI },
        { "hideUI", QuorvexLogFilter::hideUI },
        { "onlyNetworking", QuorvexLogFilter::onlyNetworking },
        { "hideNetworking", QuorvexLogFilter::hideNetworking },
    } };
    for (const auto& [presetName, preset] : presets) {
        if (presetName == name)
            return preset();
    }
    throw ScriptError("No filter is called \"" + name + "\"");
}

QuorvexLogFilter asFilter(const Value& value)
{
    if (value.is_string())
        return namedFilter(asText(value, "filter"));
    const Dictionary& filter = asDictionary(value, "filter");
    if (filter.size() == 1) {
        if (const Value* names = filter.if_contains("including"))
            return QuorvexLogFilter::including(categories(*names, "including"));
        if (const Value* names = filter.if_contains("excluding"))
            return QuorvexLogFilter::excluding(categories(*names, "excluding"));
        if (const Value* name = filter.if_contains("only"))
            return QuorvexLogFilter::only(asText(*name, "only"));
    }
    throw ScriptError("A filter is \"including\", \"excluding\", \"only\" or a preset's name");
}

Result configLogger(const Call& call)
{
    if (call.arguments.flag("service", true))
        QuorvexLog::setLogService(std::make_shared<ReportingLogService>(call.host));
    QuorvexLog::configLogger();
    return {};
}

Result logLine(const Call& call)
{
    const Arguments& arguments = call.arguments;
    const QuorvexLogCategory category(arguments.text("category"));
    if (arguments.given("event"))
        QuorvexLog::log(category, arguments.dictionary("event"));
    else if (const auto error = arguments.optionalText("error"))
        QuorvexLog::log(category, arguments.text("message"), *error);
    else
        QuorvexLog::log(category, std::string_view(arguments.text("message")));
    return {};
}

Result needToPrint(const Call& call)
{
    const QuorvexLogCategory category(call.arguments.text("category"));
    const Value* filter = call.arguments.given("filter");
    return Value(
        filter ? asFilter(*filter).needToPrint(category) : QuorvexLog::needToPrint(category));
}

Result setLogFilter(const Call& call)
{
    QuorvexLog::setLogFilter(asFilter(call.arguments.value("filter")));
    return {};
}

Result logLevel(const Call& call)
{
    if (call.arguments.value("rawValue").is_uint64())
        return Value(nullptr);
    const std::int64_t rawValue = call.arguments.integer("rawValue");
    if (rawValue < 0)
        return Value(nullptr);
    const auto level = quorvexLogLevel(static_cast<std::uint64_t>(rawValue));
    if (!level)
        return Value(nullptr);
    switch (*level) {
    case QuorvexLogLevel::tesselInternal:
        return Value("tesselInternal");
    case QuorvexLogLevel::warning:
        return Value("warning");
    case QuorvexLogLevel::custom:
        return Value("custom");
    case QuorvexLogLevel::netwrok:
        return Value("netwrok");
    case QuorvexLogLevel::action:
        return Value("action");
    }
    return Value(nullptr);
}

} // namespace

void addLogOperations(OperationTable& table)
{
    table["configLogger"] = { .run = configLogger };
    table["log"] = { .run = logLine };
    table["needToPrint"] = { .run = needToPrint };
    table["setLogFilter"] = { .run = setLogFilter };
    table["logLevel"] = { .run = logLevel };
}

} // namespace telvora::host
