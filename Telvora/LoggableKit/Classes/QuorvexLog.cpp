#include <Telvora/LoggableKit/Classes/QuorvexLog.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Base/Lazy.h>
#include <Telvora/Base/ProcessValue.h>
#include <Telvora/Base/Signal.h>
#include <Telvora/LoggableKit/Classes/ArrivalOrder.h>
#include <Telvora/LoggableKit/Classes/Extension/Dictionary+Extension.h>
#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/Platform.h>

namespace telvora {

namespace {

class CService final : public LogService {
public:
    explicit CService(const ObjcLogService& functions)
        : m_functions(functions)
    {
    }

    void loggerInit() override
    {
        if (m_functions.loggerInit)
            m_functions.loggerInit(m_functions.context);
    }

    void log(unsigned level, const std::string& message) override
    {
        if (m_functions.log)
            m_functions.log(m_functions.context, level, message.c_str());
    }

private:
    ObjcLogService m_functions;
};

using detail::Guarded;

struct Log {
    Guarded<std::shared_ptr<LogService>> service;
    // Absent until set, which is the same as QuorvexLogFilter::all().
    Guarded<std::optional<QuorvexLogFilter>> filter;
    Guarded<std::vector<std::string>> logs;
    // Calls of the service happen in the order in which their threads arrive here.
    detail::ArrivalOrder arrivals;

    // For Lazy.
    void retire() { service.set(nullptr); }
};

Log& theLog()
{
    static constinit detail::Lazy<Log> log;
    return log.get([] { return new Log; });
}

// Its barrier blocks call the service, one at a time.
DispatchQueue& tesselQueue()
{
    static constinit detail::Lazy<DispatchQueue> queue;
    return queue.get(
        [] { return platform().dispatch.makeConcurrentQueue("Quorvex.Tessel.queue").release(); });
}

// Read for every line, so that a line without a service costs two loads.
constinit detail::ProcessValue<bool> s_hasService { false };
constinit detail::ProcessValue<bool> s_hasInitTessel { false };

// In the order in which the threads arrive here. False if there is no service, or none is called
// any more.
bool callService(FunctionRef<void(LogService&)> call)
{
    const auto service = theLog().service.get();
    if (!service)
        return false;
    const detail::ArrivalOrder::Place place(theLog().arrivals);
    if (!place)
        return false;
    tesselQueue().barrierSync([&] {
        const detail::NoWaitScope inLog;
        detail::callHost([&] { call(*service); }, { "The log service" });
    });
    return true;
}

QuorvexLogLevel configLogType(const QuorvexLogCategory& category)
{
    if (category == QuorvexLogCategory::http())
        return QuorvexLogLevel::netwrok;
    if (category == QuorvexLogCategory::sensors())
        return QuorvexLogLevel::action;
    return QuorvexLogLevel::custom;
}

// A caller that logs must not fail because there is no memory for a line.
template<typename Step> void withoutThrowing(Step&& step) noexcept
{
    try {
        step();
    } catch (...) {
        // The line is lost.
    }
}

void deliver(const QuorvexLogCategory& category, QuorvexLogLevel level,
    std::initializer_list<std::string_view> parts)
{
    std::string line = "[" + category.name + "] ";
    for (const std::string_view part : parts)
        line += part;
    QuorvexLog::safeLog(static_cast<unsigned>(level), line);
    // Deliberate: nothing is printed here, whatever the filter answers.
    static_cast<void>(QuorvexLog::needToPrint(category));
}

} // namespace

bool detail::isLogging()
{
    return s_hasInitTessel->load(std::memory_order_acquire)
        && s_hasService->load(std::memory_order_relaxed) && !isForkedChild();
}

std::optional<QuorvexLogLevel> quorvexLogLevel(std::uint64_t rawValue)
{
    if (rawValue < 1 || rawValue > 5)
        return std::nullopt;
    return static_cast<QuorvexLogLevel>(rawValue);
}

void QuorvexLog::setLogService(std::shared_ptr<LogService> service)
{
    detail::noteHostClosure();
    // It may be the last reference to the host's old service, which is then destroyed after the
    // lock is released.
    theLog().service.with([&](std::shared_ptr<LogService>& current) {
        s_hasService.change().store(service != nullptr, std::memory_order_relaxed);
        current.swap(service);
    });
}

void QuorvexLog::setLogService(const ObjcLogService& service)
{
    setLogService(std::make_shared<CService>(service));
}

void QuorvexLog::configLogger()
{
    if (callService([](LogService& service) { service.loggerInit(); }))
        s_hasInitTessel.change().store(true, std::memory_order_release);
}

void QuorvexLog::log(const Category& category, std::string_view message)
{
    if (detail::isLogging())
        withoutThrowing([&] { deliver(category, configLogType(category), { message }); });
}

void QuorvexLog::log(const Category& category, FunctionRef<std::string()> makeMessage)
{
    if (detail::isLogging())
        withoutThrowing([&] { deliver(category, configLogType(category), { makeMessage() }); });
}

void QuorvexLog::log(const Category& category, const Dictionary& event)
{
    log(category, [&] { return toJSONString(event).value_or(std::string()); });
}

void QuorvexLog::log(const Category& category, std::string_view message, std::string_view error)
{
    if (detail::isLogging()) {
        withoutThrowing([&] {
            deliver(category, QuorvexLogLevel::warning, { message, ", ", error });
        });
    }
}

void QuorvexLog::safeLog(unsigned level, const std::string& message)
{
    if (!detail::isLogging())
        return;
    withoutThrowing(
        [&] { callService([&](LogService& service) { service.log(level, message); }); });
}

QuorvexLogFilter QuorvexLog::logFilter()
{
    return theLog().filter.get().value_or(QuorvexLogFilter::all());
}

void QuorvexLog::setLogFilter(QuorvexLogFilter filter)
{
    theLog().filter.set(std::move(filter));
}

bool QuorvexLog::needToPrint(const Category& category)
{
    return theLog().filter.with([&](const std::optional<QuorvexLogFilter>& filter) {
        return !filter || filter->needToPrint(category);
    });
}

std::vector<std::string> QuorvexLog::logs()
{
    return theLog().logs.get();
}

void QuorvexLog::setLogs(std::vector<std::string> logs)
{
    theLog().logs.set(std::move(logs));
}

void log(const QuorvexLogCategory& category, std::string_view message)
{
    QuorvexLog::log(category, message);
}

void log(const QuorvexLogCategory& category, std::string_view message, std::string_view error)
{
    QuorvexLog::log(category, message, error);
}

} // namespace telvora

void qvxLogWithLevel(unsigned level, const char* message)
{
    // Nothing may be thrown through C, not even std::bad_alloc.
    telvora::withoutThrowing([&] { telvora::QuorvexLog::safeLog(level, message ? message : ""); });
}
