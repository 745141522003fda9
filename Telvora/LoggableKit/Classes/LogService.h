#pragma once

#include <Telvora/Base/Export.h>

#include <string>

namespace telvora {

/// The host's own log. QuorvexLog hands it the library's lines.
///
/// Threads: called on the thread that logs, one call at a time, in the order in which the threads
/// arrive. Each thread waits until its line has been taken, so return quickly. A service must not
/// log through QuorvexLog inside these calls: it would wait for itself. It must not call
/// TrackerManager::timerEventHandler() either, which waits for closures of the host that may log.
/// Failure: what a service throws is caught and counted (hostExceptionCount()).
class TELVORA_EXPORT LogService {
public:
    virtual ~LogService() = default;

    /// Called by QuorvexLog::configLogger(), before the first line.
    virtual void loggerInit() = 0;

    /// `level` is the raw value of a QuorvexLogLevel, or the level given to safeLog(). `message` is
    /// the whole line in UTF-8.
    virtual void log(unsigned level, const std::string& message) = 0;
};

/// A log service for a host that uses a C interface instead of C++ classes. A null function is not
/// called.
struct ObjcLogService {
    /// Called as LogService::loggerInit().
    void (*loggerInit)(void* context);
    /// `message` ends with a zero and is valid during the call.
    void (*log)(void* context, unsigned level, const char* message);
    /// Passed to both functions; the library does not use it.
    void* context;
};

} // namespace telvora
