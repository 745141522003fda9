#pragma once

#include <Telvora/Platform/Linux/Machine/SystemFiles.h>
#include <Telvora/Platform/Reachability.h>

namespace telvora {
class Dispatch;
} // namespace telvora

namespace telvora::detail {

class LinuxNetworkWatcher;

/// The kind of connection by the kernel's links and default routes (rtnetlink).
///
/// Life: making an object starts nothing. The network is watched from the first startNotifier(), or
/// the first question for the connection while the library is in use, to the end of the service.
/// `dispatch` must outlive the service and its objects.
///
/// Failure: no object where the kernel's routing messages cannot be had, as in some sandboxes.
///
/// Deliberate: while the network is watched, an object made for one reading asks nothing of the
/// kernel. It shows the same snapshot as a held one, which the watching thread keeps fresh.
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
