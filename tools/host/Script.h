#pragma once

#include <tools/host/Host.h>
#include <tools/host/Operations.h>

#include <string>
#include <string_view>

namespace telvora::host {

/// Runs the lines of a script and replies to each.
///
/// Threads: the main thread calls runText() and refuse(); lines inside closures and in `parallel`
/// run on any thread.
class Script {
public:
    explicit Script(Host& host);

    /// Runs one line of the script, replies, and lets the platform run its queued work. Skips blank
    /// lines and comments.
    void runText(std::string_view text);

    /// Replies to a line that cannot be read.
    void refuse(const std::string& reason);

private:
    void run(const Value& line, const LineContext& context);
    void fail(Dictionary& reply, const std::string& reason);

    Host& m_host;
    const InnerLineRunner m_innerLines;
};

} // namespace telvora::host
