#pragma once

#include <Telvora/Platform/Linux/Network/LinuxReachability.h>
#include <Telvora/Platform/Simulated/ManualDispatch.h>

#include <tests/Platform/Linux/Machine/TemporaryTree.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace telvora::detail {

/// A network of the test's own. The thread that makes it, and the threads and processes that it
/// starts later, do not see the machine's links. Needs the right to make namespaces, directly or as
/// the root of a user namespace, and the `ip` command.
class NetworkNamespace {
public:
    NetworkNamespace();

    /// False if the machine refused it; nothing may be changed then.
    bool isOwn() const { return m_isOwn; }

    /// Runs `ip` with these arguments; ";" separates several commands. The test fails if a command
    /// fails.
    void ip(const std::string& commands) const;

private:
    bool m_isOwn;
};

/// Waits until `condition` is true, ten seconds at most; false if it is not true then.
bool eventually(const std::function<bool()>& condition);

/// Makes ctest report the case as skipped, even if an assertion of it fails. The case must return.
void noteNotRun(const char* reason);

/// A LinuxReachability in a namespace of its own with two links, "wire" and "radio". A tree of
/// files says that the radio is cellular. The library counts as in use.
class NetworkFixture {
public:
    using Connection = Reachability::Connection;

    NetworkFixture();

    ReachabilityService& service() { return reachability; }

    /// False on a machine that refuses namespaces; the case must return then. It has failed, or, if
    /// the environment has TELVORA_NO_NAMESPACES=1, ctest reports it as skipped.
    bool canChange() const;

    /// Sets a default route over one of the two links, or removes it. Returns when every listener
    /// was called.
    void change(Connection connection);
    /// Runs the blocks that the watching thread has put on the main queue, and the one that starts
    /// this thread.
    void runMain() { dispatch.advance(std::chrono::milliseconds(10)); }

    std::unique_ptr<Reachability> make();

    /// Whether objects show `connection`, now or soon.
    bool becomes(Connection connection);

    /// Writes a property of a link, such as "uevent", to the tree of files.
    void playLink(const std::string& name, const std::string& file, const std::string& text);

    NetworkNamespace space;
    TemporaryTree tree;
    ManualClock clock;
    ManualDispatch dispatch { clock };
    LinuxReachability reachability { dispatch, SystemFiles(tree.path()) };
};

} // namespace telvora::detail
