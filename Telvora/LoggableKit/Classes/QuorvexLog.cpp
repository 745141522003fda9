#include <Telvora/LoggableKit/Classes/QuorvexLog.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Base/Mutex.h>
#include <Telvora/LoggableKit/Classes/Extension/Dictionary+Extension.h>
#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/Platform.h>

#include <atomic>

namespace telvora {

namespace {

class CService final : public LogService {
public:
    explicit CService(const ObjcLogService& functions)
        : m_functions(functions)
    {
    }

    void loggerInit() override { m_functions.loggerInit(m_functions.context); }

    void log(unsigned level, const std::string& message) override
    {
        m_functions.log(m_functions.context, level, message.c_str());
    }

private:
    ObjcLogService m_functions;
};

// The facade's own state; one for the process, never destroyed.
struct State {
    std::unique_ptr<DispatchQueue> tesselQueue
        = platform().dispatch.makeConcurrentQueue("Quorvex.Tessel.queue");

    Mutex lock;
    std::shared_ptr<LogService> service TELVORA_GUARDED_BY(lock);
    QuorvexLogFilter filter TELVORA_GUARDED_BY(lock) = QuorvexLogFilter::all();
    std::vector<std::string> logs TELVORA_GUARDED_BY(lock);

    std::shared_ptr<LogService> currentService() TELVORA_EXCLUDES(lock)
    {
        MutexLock locked(lock);
        return service;
    }
};

State& state()
{
    static auto& state = *new State;
    return state;
}

// Both are looked at by every line, so that one that goes nowhere costs two loads.
std::atomic<bool> s_hasService { false };
std::atomic<bool> s_hasInitTessel { false };

bool isListening()
{
    return s_hasInitTessel.load(std::memory_order_acquire)
        && s_hasService.load(std::memory_order_relaxed);
}

QuorvexLogLevel configLogType(const QuorvexLogCategory& category)
{
    if (category == QuorvexLogCategory::http())
        return QuorvexLogLevel::netwrok;
    if (category == QuorvexLogCategory::sensors())
        return QuorvexLogLevel::action;
    return QuorvexLogLevel::custom;
}

// Whoever logs does not fail for want of memory for a line.
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
    // Nothing prints here, whatever the verdict.
    static_cast<void>(QuorvexLog::needToPrint(category));
}

} // namespace

std::optional<QuorvexLogLevel> quorvexLogLevel(std::uint64_t rawValue)
{
    if (rawValue < 1 || rawValue > 5)
        return std::nullopt;
    return static_cast<QuorvexLogLevel>(rawValue);
}

void QuorvexLog::setLogService(std::shared_ptr<LogService> service)
{
    MutexLock locked(state().lock);
    s_hasService.store(service != nullptr, std::memory_order_relaxed);
    // The old one may be the last reference to an object of the host: let it go after the lock.
    state().service.swap(service);
}

void QuorvexLog::setLogService(const ObjcLogService& service)
{
    setLogService(std::make_shared<CService>(service));
}

void QuorvexLog::configLogger()
{
    const auto service = state().currentService();
    if (!service)
        return;
    state().tesselQueue->barrierSync([&] {
        callHost([&] { service->loggerInit(); });
        s_hasInitTessel.store(true, std::memory_order_release);
    });
}

void QuorvexLog::log(const Category& category, std::string_view message)
{
    if (isListening())
        withoutThrowing([&] { deliver(category, configLogType(category), { message }); });
}

void QuorvexLog::log(const Category& category, FunctionRef<std::string()> makeMessage)
{
    if (isListening())
        withoutThrowing([&] { deliver(category, configLogType(category), { makeMessage() }); });
}

void QuorvexLog::log(const Category& category, const Dictionary& event)
{
    log(category, [&] { return toJSONString(event).value_or(std::string()); });
}

void QuorvexLog::log(const Category& category, std::string_view message, std::string_view error)
{
    if (isListening()) {
        withoutThrowing([&] {
            deliver(category, QuorvexLogLevel::warning, { message, ", ", error });
        });
    }
}

void QuorvexLog::safeLog(unsigned level, const std::string& message)
{
    if (!isListening())
        return;
    withoutThrowing([&] {
        const auto service = state().currentService();
        if (!service)
            return;
        state().tesselQueue->barrierSync([&] { callHost([&] { service->log(level, message); }); });
    });
}

QuorvexLogFilter QuorvexLog::logFilter()
{
    MutexLock locked(state().lock);
    return state().filter;
}

void QuorvexLog::setLogFilter(QuorvexLogFilter filter)
{
    MutexLock locked(state().lock);
    state().filter = std::move(filter);
}

bool QuorvexLog::needToPrint(const Category& category)
{
    MutexLock locked(state().lock);
    return state().filter.needToPrint(category);
}

std::vector<std::string> QuorvexLog::logs()
{
    MutexLock locked(state().lock);
    return state().logs;
}

void QuorvexLog::setLogs(std::vector<std::string> logs)
{
    MutexLock locked(state().lock);
    state().logs = std::move(logs);
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
    // Nothing may be thrown through C, not even for want of memory.
    telvora::withoutThrowing([&] { telvora::QuorvexLog::safeLog(level, message ? message : ""); });
}
