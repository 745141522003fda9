#pragma once

#include <Telvora/Base/Export.h>

#include <string>

namespace telvora {

/// The host's own log, where the library's lines go.
///
/// Threads: called one call at a time, in the order of the callers' arrival, on the thread that
/// logs; a caller waits until its line has been handed over, so be quick.
/// A service must not log through the facade from inside its own calls: it would wait for itself.
class TELVORA_EXPORT LogService {
public:
    virtual ~LogService() = default;

    /// Comes before the first line.
    virtual void loggerInit() = 0;

    /// `level` is the raw value of a QuorvexLogLevel.
    virtual void log(unsigned level, const std::string& message) = 0;
};

/// The same for a host that is written against a C interface instead of C++ classes. The functions
/// get `context` back; both must be set.
struct ObjcLogService {
    void (*loggerInit)(void* context);
    void (*log)(void* context, unsigned level, const char* message);
    void* context;
};

} // namespace telvora
