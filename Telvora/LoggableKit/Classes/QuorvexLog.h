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

/// The level of a line, for the host's log service. Tessel is the host's log system behind that
/// service.
enum class QuorvexLogLevel : unsigned {
    /// No line of the library has it.
    tesselInternal = 1,
    /// A message with an error.
    warning = 2,
    /// Any other line.
    custom = 3,
    /// Category "HTTP". Misspelt on purpose: tools search for it.
    netwrok = 4,
    /// Category "Sensors".
    action = 5,
};

/// Absent for a number that is no level.
TELVORA_EXPORT std::optional<QuorvexLogLevel> quorvexLogLevel(std::uint64_t rawValue);

/// The logging facade: makes a line of a category and a message, chooses the level by the category
/// and hands the line to the host's log service.
///
/// Life: lines are delivered once the host has installed its service and called configLogger().
/// Earlier lines are dropped.
///
/// Threads: any. A call waits until the service has taken the line.
///
/// Failure: none is reported. What the service throws is caught and counted, and a line for which
/// there is no memory is lost.
///
/// Deliberate: the filter is asked about each delivered line, but the answer changes nothing,
/// because the library prints nothing locally.
class TELVORA_EXPORT QuorvexLog {
public:
    /// The subject of a line.
    using Category = QuorvexLogCategory;

    /// Installs the host's log service; null removes it. It gets no line before configLogger().
    static void setLogService(std::shared_ptr<LogService> service);
    /// The same, of a service with a C interface, which is copied.
    static void setLogService(const ObjcLogService& service);

    /// Calls the service's loggerInit(); from then on lines are delivered, also to a service that
    /// is installed later. Without a service nothing happens.
    static void configLogger();

    /// Delivers "[" category "] " message.
    static void log(const Category& category, std::string_view message);

    /// The same; `makeMessage` is called only if there is a service.
    static void log(const Category& category, FunctionRef<std::string()> makeMessage);

    /// The same; the message is the event as indented JSON, or empty when it cannot be encoded.
    static void log(const Category& category, const Dictionary& event);

    /// Delivers "[" category "] " message ", " error, with the level `warning`.
    static void log(const Category& category, std::string_view message, std::string_view error);

    /// Delivers `message` unchanged, with any `level`.
    static void safeLog(unsigned level, const std::string& message);

    /// The filter for needToPrint(); QuorvexLogFilter::all() until set.
    static QuorvexLogFilter logFilter();
    /// Replaces the filter for all threads. It changes no line.
    static void setLogFilter(QuorvexLogFilter filter);
    /// What the filter answers for `category`.
    static bool needToPrint(const Category& category);

    /// A list for the host's own use; the library adds nothing to it.
    static std::vector<std::string> logs();
    /// Replaces the list.
    static void setLogs(std::vector<std::string> logs);
};

/// The same as the operations of QuorvexLog, as free functions.
TELVORA_EXPORT void log(const QuorvexLogCategory& category, std::string_view message);
/// The same with an error, as QuorvexLog::log() has it.
TELVORA_EXPORT void log(
    const QuorvexLogCategory& category, std::string_view message, std::string_view error);

namespace detail {

/// Whether a line would be delivered now. For a caller that has work to do for a line beside its
/// text.
TELVORA_EXPORT bool isLogging();

} // namespace detail

} // namespace telvora

/// telvora::QuorvexLog::safeLog for C. `message` is UTF-8 and ends with a zero; NULL is an empty
/// line. Nothing is thrown.
extern "C" TELVORA_EXPORT void qvxLogWithLevel(unsigned level, const char* message);
