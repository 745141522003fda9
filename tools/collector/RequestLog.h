#pragma once

#include <tools/collector/Store.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace telvora::collector {

/// Shows each request as one line on a terminal, for a person who watches.
///
/// Life: shows nothing until open() is called with a terminal.
///
/// Thread safety: one thread.
///
/// Failure: a terminal may take no more output for a while (Ctrl-S). Answers must not wait for it,
/// so lines are left out then, and the next one that is shown says how many.
class RequestLog {
public:
    RequestLog() = default;
    ~RequestLog();
    RequestLog(const RequestLog&) = delete;
    RequestLog& operator=(const RequestLog&) = delete;

    /// Does nothing where `descriptor` is no terminal, so that what programs read stays as it is.
    void open(int descriptor);

    /// Requires: the request's outcome is known.
    void note(const Request& request);

    /// A request that could not be read and was answered with this status.
    void noteMalformed(double secondsSince1970, int status, std::string_view why);

private:
    void write(std::string line);

    int m_terminal = -1;
    std::uint64_t m_missing = 0;
    // The terminal took only the beginning of the last line.
    bool m_isLineCut = false;
};

/// The line for a request, without its end:
/// "09:54:28.123  POST /e2e  20 events, 1893 bytes  200 accepted  ok".
std::string lineOf(const Request& request);

} // namespace telvora::collector
