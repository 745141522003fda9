#pragma once

#include <Telvora/Platform/Linux/Machine/SystemFiles.h>
#include <Telvora/Platform/Reachability.h>

namespace telvora {
class Dispatch;
} // namespace telvora

namespace telvora::detail {

class LinuxNetworkWatcher;

/// Derives the kind of connection from the kernel's links and default routes (rtnetlink).
///
/// Life: making an object starts no thread. The network is watched from the first startNotifier(),
/// or from the first connection() after the library's first use, to the end of the service.
/// `dispatch` must outlive the service and its objects.
///
/// Failure: makes no object when the kernel refuses its routing messages, as in some sandboxes.
///
/// Deliberate: while the network is watched, an object for one reading does not ask the kernel. It
/// returns the same snapshot as a held object; the watching thread keeps it up to date.
class LinuxReachability final : public ReachabilityService {
public:
    LinuxReachability(Dispatch& dispatch, SystemFiles files);
    ~LinuxReachability() override;

    std::unique_ptr<Reachability> makeReachability(Use use) override;

private:
    Dispatch& m_dispatch;
    const std::shared_ptr<LinuxNetworkWatcher> m_watcher;
};

} // namespace telvora::detail
