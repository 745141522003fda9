#include <tools/host/World.h>

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Gzip.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <tools/host/Output.h>

#include <limits>
#include <utility>

namespace telvora::host {

namespace {

using Notification = telvora::Notification;

// A body is deeper than the deepest event that a line can hold.
constexpr std::size_t deepestBody = 4096;

Dictionary requestEvent(std::size_t number, const HTTPRequest& request)
{
    Dictionary headers;
    for (const auto& [name, text] : request.headers)
        headers[name] = text;
    Dictionary event { { "event", "request" }, { "number", number }, { "url", request.url },
        { "method", request.method } };
    const bool isCompressed = headers.contains("Content-Encoding");
    const auto unpacked = isCompressed ? detail::gunzipped(request.body) : std::nullopt;
    const std::string_view text = unpacked ? std::string_view(*unpacked) : request.body.view();
    event["headers"] = std::move(headers);
    Decoded body = decode(text, deepestBody);
    event["body"] = body.value ? std::move(*body.value) : Value(text);
    event["bodyText"] = text;
    event["timeout"] = request.timeout.count();
    return event;
}

// A whole number of seconds becomes an integer.
Value secondsOf(std::chrono::nanoseconds interval)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(interval);
    if (seconds == interval)
        return seconds.count();
    return std::chrono::duration<double>(interval).count();
}

const char* nameOf(ManualDispatch::TimerAction action)
{
    switch (action) {
    case ManualDispatch::TimerAction::schedule:
        return "schedule";
    case ManualDispatch::TimerAction::suspend:
        return "suspend";
    case ManualDispatch::TimerAction::resume:
        return "resume";
    }
    return "";
}

class SimulatedWorld final : public World {
public:
    SimulatedWorld(std::uint64_t seed, Output& output)
        : m_platform(seed)
        , m_output(output)
    {
        installPlatform(m_platform.services());
        writeRequests();
        writeFileUse();
        writeRegistrations();
    }

    SimulatedPlatform* simulated() override { return &m_platform; }

    NotificationCenter& notificationCenter() override { return m_platform.notificationCenter(); }

    bool isOnMainThread() const override { return m_platform.dispatch().isOnMainThread(); }

    void rest() override { m_platform.runUntilIdle(); }

    // Time does not pass by itself, so waiting longer would change nothing.
    bool settle(std::chrono::nanoseconds, bool uploads) override
    {
        if (m_platform.dispatch().isRunningBlock())
            return false;
        m_platform.runUntilIdle();
        return m_platform.dispatch().readyBlockCount() == 0
            && (!uploads || m_platform.httpClient().underWayCount() == 0);
    }

private:
    void writeRequests()
    {
        m_platform.httpClient().setRequestObserver(
            [this](std::size_t number, const HTTPRequest& request) {
                Dictionary event = requestEvent(number, request);
                m_output.writeEvent(event);
                dispose(std::move(event));
            });
    }

    void writeFileUse()
    {
        m_platform.fileManager().setProbeObserver([this](const std::string& path) {
            m_output.writeEvent({ { "event", "fileProbe" }, { "path", path } });
        });
        m_platform.fileManager().setWriteObserver([this](const std::string& path,
                                                      const std::string& text) {
            m_output.writeEvent({ { "event", "fileWrite" }, { "path", path }, { "text", text } });
        });
        m_platform.application().setOpenObserver([this](const std::string& url) {
            m_output.writeEvent({ { "event", "canOpenURL" }, { "url", url } });
        });
    }

    void writeRegistrations()
    {
        using Action = RecordingNotificationCenter::Action;
        m_platform.notificationCenter().setObservationObserver(
            [this](Action action, Notification notification) {
                m_output.writeEvent({
                    { "event", action == Action::observe ? "observe" : "unobserve" },
                    { "notification",
                        notification == Notification::didEnterBackground ? "didEnterBackground"
                                                                         : "willEnterForeground" },
                });
            });
        m_platform.dispatch().setTimerObserver(
            [this](ManualDispatch::TimerAction action, std::chrono::nanoseconds interval) {
                m_output.writeEvent({ { "event", "timer" }, { "action", nameOf(action) },
                    { "interval", secondsOf(interval) } });
            });
        m_platform.reachability().setNotifierObserver(
            [this](ScriptedReachability::NotifierAction action) {
                const bool starts = action == ScriptedReachability::NotifierAction::start;
                m_output.writeEvent(
                    { { "event", "notifier" }, { "action", starts ? "start" : "stop" } });
            });
    }

    mutable SimulatedPlatform m_platform;
    Output& m_output;
};

} // namespace

std::unique_ptr<World> makeSimulatedWorld(std::uint64_t seed, Output& output)
{
    return std::make_unique<SimulatedWorld>(seed, output);
}

} // namespace telvora::host
