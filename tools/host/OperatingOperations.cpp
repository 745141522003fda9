#include <tools/host/Operations.h>

#include <Telvora/Classes/TrackerManager.h>
#include <tools/host/ScriptError.h>

#include <chrono>

// Operations with which a host sees and steers what the library does.

namespace telvora::host {

namespace {

Dictionary eventOf(const Diagnostic& diagnostic)
{
    Dictionary event { { "event", "diagnostic" }, { "kind", rawValue(diagnostic.kind) } };
    if (diagnostic.kind != Diagnostic::Kind::heldBack)
        event["index"] = diagnostic.index;
    if (const auto& upload = diagnostic.upload) {
        event["url"] = upload->url;
        event["status"] = upload->status;
        event["reason"] = upload->reason;
        event["attempt"] = upload->attempt;
        event["of"]
            = upload->attempts == RetryPolicy::endless ? Value(nullptr) : Value(upload->attempts);
        event["willRetry"] = upload->outcome == UploadFailure::Outcome::waiting;
        event["events"] = diagnostic.events;
    }
    if (diagnostic.kind == Diagnostic::Kind::eventsDropped)
        event["events"] = diagnostic.events;
    if (diagnostic.dropReason)
        event["dropReason"] = rawValue(*diagnostic.dropReason);
    if (diagnostic.kind == Diagnostic::Kind::headerLeftOut)
        event["header"] = diagnostic.header;
    if (diagnostic.kind == Diagnostic::Kind::hostException)
        event["reason"] = diagnostic.reason;
    if (diagnostic.kind == Diagnostic::Kind::heldBack)
        event["count"] = diagnostic.count;
    return event;
}

Result diagnostics(const Call& call)
{
    if (!call.arguments.flag("on", true)) {
        TrackerManager::setDiagnosticsHandler({});
        return {};
    }
    TrackerManager::setDiagnosticsHandler([&host = call.host](const Diagnostic& diagnostic) {
        host.called("diagnostic", eventOf(diagnostic), &diagnostic.index);
    });
    return {};
}

// A flush or a shutdown.
template<typename Operation> Result flushed(const Call& call, Operation&& operation)
{
    const auto result = operation(std::chrono::duration<double>(call.arguments.number("deadline")));
    if (!result)
        throw ScriptError("\"deadline\" wants a number that is not negative and has an end");
    return Value(Dictionary { { "atRest", result->atRest }, { "left", result->left } });
}

Result flush(const Call& call)
{
    return flushed(call, TrackerManager::flush);
}

Result shutdown(const Call& call)
{
    return flushed(call, TrackerManager::shutdown);
}

Result setEnabled(const Call& call)
{
    TrackerManager::setEnabled(call.arguments.flag("on"));
    return {};
}

Result limits(const Call& call)
{
    const Arguments& arguments = call.arguments;
    if (!arguments.given("index")) {
        TrackerManager::setLimits(limitsOf(arguments, TrackerManager::limits()));
        return {};
    }
    const auto channel = call.host.channel(arguments.text("index")).config;
    channel->setLimits(limitsOf(arguments, channel->limits()));
    return {};
}

Result diagnosis(const Call&)
{
    return Value(TrackerManager::shared().diagnosis());
}

} // namespace

void addOperatingOperations(OperationTable& table)
{
    table["flush"] = { .run = flush, .touchesManager = true, .letsOthersWrite = true };
    table["shutdown"] = { .run = shutdown, .touchesManager = true, .letsOthersWrite = true };
    table["setEnabled"] = { .run = setEnabled, .touchesManager = true };
    table["diagnostics"] = { .run = diagnostics, .touchesManager = true };
    table["limits"] = { .run = limits, .touchesManager = true };
    table["diagnosis"] = { .run = diagnosis, .touchesManager = true };
}

} // namespace telvora::host
