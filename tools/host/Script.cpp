#include <tools/host/Script.h>

#include <tools/host/Markers.h>
#include <tools/host/ScriptError.h>

#include <exception>
#include <optional>
#include <utility>

namespace telvora::host {

namespace {

// The members that every reply begins with, as far as the line can be read.
Dictionary replyTo(const Value& line, const LineContext& context)
{
    Dictionary reply { { "reply", nullptr } };
    if (const Dictionary* members = line.if_object()) {
        const Value* name = members->if_contains("op");
        if (name && name->is_string())
            reply["reply"] = *name;
        if (const Value* id = members->if_contains("id"))
            reply["id"] = *id;
    }
    if (!context.inside.empty())
        reply["inside"] = context.inside;
    return reply;
}

const Operation& operationFor(const Value& line)
{
    const Dictionary* members = line.if_object();
    if (!members)
        throw ScriptError("A line is an object");
    const Value* name = members->if_contains("op");
    if (!name || !name->is_string())
        throw ScriptError("A line names its operation in \"op\"");
    const auto found = operationTable().find(std::string_view(name->get_string()));
    if (found == operationTable().end())
        throw ScriptError("unknown op");
    return found->second;
}

void requirePlatform(const Operation& operation, bool isSimulated)
{
    if (operation.platform == Operation::Platform::simulated && !isSimulated)
        throw ScriptError("Only the simulated platform can do this");
    if (operation.platform == Operation::Platform::real && isSimulated)
        throw ScriptError("Only the real platform can do this");
}

bool isBlankOrComment(std::string_view text)
{
    return text.starts_with('#') || text.find_first_not_of(" \t\r") == std::string_view::npos;
}

} // namespace

Script::Script(Host& host)
    : m_host(host)
    , m_innerLines([this](const Value& line, const LineContext& context) { run(line, context); })
{
    m_host.setLineRunner(
        [this](const Value& line, std::string_view where) { run(line, { .inside = where }); });
}

void Script::runText(std::string_view text)
{
    if (isBlankOrComment(text))
        return;
    Decoded decoded = decode(text);
    if (!decoded.value) {
        refuse("The line is not JSON: " + decoded.error);
        return;
    }
    const LineContext context { .isOfScript = true };
    Value& line = *decoded.value;
    try {
        resolveMarkers(line);
        run(line, context);
    } catch (const ScriptError& error) {
        Dictionary reply = replyTo(line, context);
        fail(reply, error.what());
        m_host.output().writeReply(reply);
    }
    dispose(std::move(line));
    m_host.world().rest();
}

void Script::refuse(const std::string& reason)
{
    Dictionary reply = replyTo(nullptr, {});
    fail(reply, reason);
    m_host.output().writeReply(reply);
}

void Script::run(const Value& line, const LineContext& context)
{
    Dictionary reply = replyTo(line, context);
    std::optional<Output::Precedence> precedence;
    bool hasFailed = false;
    const Operation* operation = nullptr;
    try {
        operation = &operationFor(line);
        const bool isSimulated = m_host.world().simulated() != nullptr;
        requirePlatform(*operation, isSimulated);
        if (context.isOfScript && !isSimulated && !operation->letsOthersWrite)
            precedence.emplace(m_host.output());
        if (operation->touchesManager)
            m_host.touchManager();
        Result result
            = operation->run({ m_host, Arguments(line.get_object()), context, m_innerLines });
        if (result)
            reply["result"] = std::move(*result);
    } catch (const std::exception& error) {
        fail(reply, error.what());
        hasFailed = true;
    }
    if (hasFailed || !context.onlyErrors)
        m_host.output().writeReply(reply);
    precedence.reset();
    dispose(std::move(reply));
    if (!hasFailed && operation->afterReply)
        operation->afterReply({ m_host, Arguments(line.get_object()), context, m_innerLines });
}

void Script::fail(Dictionary& reply, const std::string& reason)
{
    reply["error"] = reason;
    m_host.noteFailedLine();
}

} // namespace telvora::host
