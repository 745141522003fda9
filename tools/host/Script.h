#pragma once

#include <tools/host/Host.h>
#include <tools/host/Operations.h>

#include <string>
#include <string_view>

namespace telvora::host {

/// Runs the lines of a script and replies to each.
///
/// Threads: runText() and refuse() belong to the main thread; lines inside closures and in
/// `parallel` run wherever they are.
class Script {
public:
    explicit Script(Host& host);

    /// One line of the script as it was read: runs it, replies, and lets the platform come to
    /// rest. Blank lines and comments are nothing.
    void runText(std::string_view text);

    /// Replies to a line that cannot even be read.
    void refuse(const std::string& reason);

private:
    void run(const Value& line, const LineContext& context);
    void fail(Dictionary& reply, const std::string& reason);

    Host& m_host;
    const InnerLineRunner m_innerLines;
};

} // namespace telvora::host
