#include <benchmarks/AnsweringPlatform.h>

#include <utility>

namespace telvora {

AnsweringHTTPClient::AnsweringHTTPClient(std::string text)
    : m_text(std::move(text))
    , m_thread([this] { answer(); })
{
}

AnsweringHTTPClient::~AnsweringHTTPClient()
{
    {
        detail::MutexLock lock(m_lock);
        m_isEnding = true;
    }
    m_arrived.notify_one();
    m_thread.join();
}

void AnsweringHTTPClient::send(HTTPRequest /*request*/, Completion completion)
{
    {
        detail::MutexLock lock(m_lock);
        m_waiting.push_back(std::move(completion));
    }
    m_arrived.notify_one();
}

void AnsweringHTTPClient::answer()
{
    std::unique_lock lock(m_lock.native());
    while (true) {
        while (!m_isEnding && m_waiting.empty())
            m_arrived.wait(lock);
        if (m_waiting.empty())
            return;
        std::vector<Completion> taken = std::exchange(m_waiting, {});
        lock.unlock();
        for (Completion& completion : taken) {
            completion(HTTPAnswer { m_text, {}, 200 });
            completion.reset();
            m_answered.fetch_add(1, std::memory_order_relaxed);
        }
        lock.lock();
    }
}

AnsweringHTTPClient& installAnsweringPlatform(LinuxPlatformOptions options, std::string text)
{
    auto& machine = *new LinuxPlatform(std::move(options));
    const Platform& set = machine.services();
    auto& client = *new AnsweringHTTPClient(std::move(text));
    installPlatform(*new Platform { set.application, set.bundle, set.clock, set.device,
        set.dispatch, set.fileManager, client, set.lifeCycleChecker, set.notificationCenter,
        set.reachability, set.screens, set.telephony, set.uuids });
    return client;
}

} // namespace telvora
