#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/Work.h>
#include <Telvora/LoggableKit/Classes/LogService.h>
#include <Telvora/LoggableKit/Classes/QuorvexLogCategory.h>
#include <Telvora/LoggableKit/Classes/QuorvexLogFilter.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace telvora {

/// How a line is marked for the host's log service.
enum class QuorvexLogLevel : unsigned {
    tesselInternal = 1,
    warning = 2,
    custom = 3,
    // Given spelling.
    netwrok = 4,
    action = 5,
};

/// Absent for a number that is no level.
TELVORA_EXPORT std::optional<QuorvexLogLevel> quorvexLogLevel(std::uint64_t rawValue);

/// The logging front end: makes one line of a category and a message, picks a level by the
/// category and hands the line to the host's log service.
///
/// Life: nothing is delivered until the host has installed its service and called configLogger().
/// Lines logged before that are dropped, not kept.
///
/// Threads: any. A call waits until the service has taken the line.
///
/// Failure: none is reported. What the service throws is caught and counted, and a line for which
/// there is no memory is lost.
///
/// Deliberate: the filter is asked about each delivered line and its answer is not acted on,
/// because nothing is printed locally.
class TELVORA_EXPORT QuorvexLog {
public:
    using Category = QuorvexLogCategory;

    /// Installs the host's log service; null takes it away. Until configLogger() it gets nothing.
    static void setLogService(std::shared_ptr<LogService> service);
    static void setLogService(const ObjcLogService& service);

    /// Calls the service's loggerInit() and opens the way for lines. Without a service nothing
    /// happens.
    static void configLogger();

    /// "[" category "] " message
    static void log(const Category& category, std::string_view message);

    /// The message is only made when there is a service to take it.
    static void log(const Category& category, FunctionRef<std::string()> makeMessage);

    /// The message is the event as pretty-printed JSON, or empty when it cannot be encoded.
    static void log(const Category& category, const Dictionary& event);

    /// "[" category "] " message ", " error. The level is `warning`.
    static void log(const Category& category, std::string_view message, std::string_view error);

    /// Hands over a line as it stands.
    static void safeLog(unsigned level, const std::string& message);

    static QuorvexLogFilter logFilter();
    static void setLogFilter(QuorvexLogFilter filter);
    static bool needToPrint(const Category& category);

    /// A list for the host's own use; nothing in the library adds to it.
    static std::vector<std::string> logs();
    static void setLogs(std::vector<std::string> logs);
};

/// The same as the operations of QuorvexLog, for callers that like them free.
TELVORA_EXPORT void log(const QuorvexLogCategory& category, std::string_view message);
TELVORA_EXPORT void log(
    const QuorvexLogCategory& category, std::string_view message, std::string_view error);

} // namespace telvora

/// The way in for a host without C++: hands the line to the installed service, under the rules of
/// telvora::QuorvexLog::safeLog. `message` is UTF-8 and ends with a zero; NULL is an empty line.
/// Nothing is thrown.
extern "C" TELVORA_EXPORT void qvxLogWithLevel(unsigned level, const char* message);
