#pragma once

#include <Telvora/Platform/Linux/Network/LinuxReachability.h>
#include <Telvora/Platform/Simulated/ManualDispatch.h>

#include <tests/Platform/Linux/Machine/TemporaryTree.h>

#include <functional>
#include <memory>
#include <string>

namespace telvora::detail {

/// A network of the test's own: the thread that makes it, and what that thread starts later, sees
/// none of the machine's links. Needs the right to make namespaces, directly or as the root of a
/// user namespace, and the `ip` command.
class NetworkNamespace {
public:
    NetworkNamespace();

    /// Whether the machine let us have one; if not, nothing may be changed.
    bool isOwn() const { return m_isOwn; }

    /// Runs `ip` with these arguments, several commands parted by ";". The test fails where the
    /// command does.
    void ip(const std::string& commands) const;

private:
    bool m_isOwn;
};

/// Waits for something that real threads bring about, ten seconds at most.
bool eventually(const std::function<bool()>& condition);

/// Makes ctest report the case as skipped, even if an assertion of it fails. The case must return.
void noteNotRun(const char* reason);

/// A LinuxReachability in a namespace of its own with two cables, "wire" and "radio". What the
/// links are is played by a tree of files; the radio is cellular. The library counts as in use.
class NetworkFixture {
public:
    using Connection = Reachability::Connection;

    NetworkFixture();

    ReachabilityService& service() { return reachability; }

    /// False on a machine that refuses namespaces; the case must return then. It has failed, or, if
    /// the environment has TELVORA_NO_NAMESPACES=1, ctest reports it as skipped.
    bool canChange() const;

    /// By a default route over one of the two cables, or none. Returns when everybody who listens
    /// was told.
    void change(Connection connection);
    /// Runs what the watching thread has handed to the main queue.
    void runMain() { dispatch.runUntilIdle(); }

    std::unique_ptr<Reachability> make();

    /// Whether objects show `connection`, now or soon.
    bool becomes(Connection connection);

    /// Plays a property of a link, such as "uevent".
    void playLink(const std::string& name, const std::string& file, const std::string& text);

    NetworkNamespace space;
    TemporaryTree tree;
    ManualClock clock;
    ManualDispatch dispatch { clock };
    LinuxReachability reachability { dispatch, SystemFiles(tree.path()) };
};

} // namespace telvora::detail
