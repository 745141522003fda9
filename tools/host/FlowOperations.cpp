#include <tools/host/Operations.h>

#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <tools/host/Markers.h>
#include <tools/host/ScriptError.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <future>
#include <thread>
#include <vector>

namespace telvora::host {

namespace {

using Platform = Operation::Platform;

// A closure's name in `inside`, and whether it belongs to a channel.
struct ClosureName {
    std::string_view name;
    bool hasIndex;
};

constexpr std::array<ClosureName, 11> closureNames { {
    { "url", true },
    { "uuid", false },
    { "start", true },
    { "stop", true },
    { "restart", true },
    { "trigger", true },
    { "diagnostic", true },
    { "log", false },
    { "loggerInit", false },
    { "report", false },
    { "networkStatus", false },
} };

std::chrono::nanoseconds duration(const Arguments& arguments, double otherwise)
{
    const double seconds = arguments.number("seconds", otherwise);
    if (std::isnan(seconds) || seconds < 0)
        throw ScriptError("\"seconds\" wants a number that is not negative");
    return nanosecondsFromSeconds(seconds);
}

// A block must not run other blocks inside itself.
void requireNoBlock(SimulatedPlatform& platform)
{
    if (platform.dispatch().isRunningBlock())
        throw ScriptError("This cannot be done while a block runs");
}

Result settle(const Call& call)
{
    const double timeout = call.arguments.number("timeout", 10);
    const bool uploads = call.arguments.flag("uploads", true);
    if (std::isnan(timeout))
        throw ScriptError("\"timeout\" wants a number");
    if (!call.host.world().settle(nanosecondsFromSeconds(timeout), uploads))
        throw ScriptError("Work is still under way");
    return {};
}

Result hold(const Call& call)
{
    call.simulated().setHold(call.arguments.flag("on"));
    return {};
}

Result step(const Call& call)
{
    const std::int64_t count = call.arguments.integer("count", 1);
    if (count < 0)
        throw ScriptError("\"count\" wants a number that is not negative");
    SimulatedPlatform& platform = call.simulated();
    requireNoBlock(platform);
    platform.step(static_cast<std::size_t>(count));
    return {};
}

Result advance(const Call& call)
{
    call.arguments.value("seconds");
    const auto step = duration(call.arguments, 0);
    if (!std::isfinite(call.arguments.number("seconds")))
        throw ScriptError("\"seconds\" wants a number that has an end");
    SimulatedPlatform& platform = call.simulated();
    requireNoBlock(platform);
    platform.advance(step);
    return {};
}

Result time(const Call& call)
{
    call.simulated().setWallTime(call.arguments.number("now"));
    return {};
}

Result sleep(const Call& call)
{
    call.arguments.value("seconds");
    std::this_thread::sleep_for(duration(call.arguments, 0));
    return {};
}

Result inside(const Call& call)
{
    const std::string where = call.arguments.text("where");
    const auto name = std::find_if(closureNames.begin(), closureNames.end(),
        [&](const ClosureName& candidate) { return candidate.name == where; });
    if (name == closureNames.end())
        throw ScriptError("No closure is called \"" + where + "\"");
    const auto index = call.arguments.optionalText("index");
    if (index && !name->hasIndex)
        throw ScriptError("The closure \"" + where + "\" belongs to no channel");
    call.host.insideLines().add({ where, index, shareLines(call.arguments.array("lines")),
        call.arguments.integer("times", 1) });
    return {};
}

void runInThread(const Call& call, const Array& lines, std::int64_t number)
{
    Array own = copy(lines);
    for (Value& line : own) {
        replaceMarker(line, "$thread", number);
        call.runLine(line, { .inside = call.context.inside, .onlyErrors = true });
    }
    dispose(std::move(own));
}

Result parallel(const Call& call)
{
    const std::int64_t count = call.arguments.integer("threads");
    const SharedLines lines = shareLines(call.arguments.array("lines"));
    if (count < 1)
        throw ScriptError("\"threads\" wants a number above 0");

    // All threads begin at one moment, so that they run in parallel.
    std::promise<bool> beginning;
    const std::shared_future<bool> hasBegun = beginning.get_future().share();
    std::vector<std::thread> threads;
    const auto join = [&](bool isComplete) {
        beginning.set_value(isComplete);
        for (std::thread& thread : threads)
            thread.join();
    };
    try {
        for (std::int64_t number = 0; number < count; ++number) {
            threads.emplace_back([&call, lines, number, hasBegun] {
                if (hasBegun.get())
                    runInThread(call, *lines, number);
            });
        }
    } catch (const std::exception&) {
        join(false);
        throw ScriptError("So many threads cannot be had");
    }
    join(true);
    return {};
}

void setTrace(SimulatedPlatform& platform, Output& output, bool on)
{
    if (!on)
        return platform.setQuestionObserver({});
    platform.setQuestionObserver([&output](const std::string& question) {
        output.writeEvent({ { "event", "platform" }, { "call", question } });
    });
}

Result trace(const Call& call)
{
    setTrace(call.simulated(), call.host.output(), call.arguments.flag("on"));
    return {};
}

Result checkExit(const Call& call)
{
    const std::int64_t code = call.arguments.integer("code", 0);
    if (code < 0 || code > 255)
        throw ScriptError("\"code\" wants a number from 0 to 255");
    return {};
}

void exitNow(const Call& call)
{
    // The main thread may be in the middle of a line and never write its reply.
    call.host.output().writeKeptBack();
    std::exit(static_cast<int>(call.arguments.integer("code", 0)));
}

} // namespace

void addFlowOperations(OperationTable& table)
{
    table["settle"] = { .run = settle, .letsOthersWrite = true };
    table["hold"] = { .run = hold, .platform = Platform::simulated };
    table["step"] = { .run = step, .platform = Platform::simulated };
    table["advance"] = { .run = advance, .platform = Platform::simulated };
    table["time"] = { .run = time, .platform = Platform::simulated };
    table["sleep"] = { .run = sleep, .platform = Platform::real, .letsOthersWrite = true };
    table["inside"] = { .run = inside };
    table["parallel"] = { .run = parallel, .platform = Platform::real, .letsOthersWrite = true };
    table["trace"] = { .run = trace, .platform = Platform::simulated };
    table["exit"] = { .run = checkExit, .letsOthersWrite = true, .afterReply = exitNow };
}

} // namespace telvora::host
