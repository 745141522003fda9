#pragma once

#include <Telvora/Platform/DispatchQueue.h>

#include <memory>
#include <string>

namespace telvora {

class LinuxQueueList;
class QueueCore;

/// A queue of LinuxDispatch: the interface around a QueueCore.
class LinuxDispatchQueue final : public DispatchQueue {
public:
    /// Is on `queues` while it lives.
    LinuxDispatchQueue(std::string label, std::shared_ptr<LinuxQueueList> queues);
    ~LinuxDispatchQueue() override;
    LinuxDispatchQueue(const LinuxDispatchQueue&) = delete;
    LinuxDispatchQueue& operator=(const LinuxDispatchQueue&) = delete;

    void async(Work block) override;
    void barrierAsync(Work block) override;
    void sync(FunctionRef<void()> block) override;
    void barrierSync(FunctionRef<void()> block) override;

protected:
    void makeBarrier(FunctionRef<void(Work&)> make) override;

private:
    QueueCore& m_core;
    const std::shared_ptr<LinuxQueueList> m_queues;
    /// For whoever looks at the process in a debugger.
    const std::string m_label;
};

} // namespace telvora
