#pragma once

#include <Telvora/Base/Dictionary.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace telvora {

/// The simplest uploader that uses the same parts: a vector under a mutex, Boost.JSON's own
/// serialisation, and libcurl's multi interface with six connections on one thread. Nothing is
/// retried, counted or checked; a failed request ends the program.
class BareLoop {
public:
    static constexpr std::size_t batchSize = 100;
    static constexpr std::size_t connections = 6;

    explicit BareLoop(std::string url);
    ~BareLoop();

    void append(Dictionary event);
    long delivered() const { return m_delivered.load(std::memory_order_relaxed); }

private:
    struct Transfer;

    void run();
    void start(Transfer& transfer, std::vector<Dictionary> batch);

    const std::string m_url;
    std::mutex m_mutex;
    std::vector<Dictionary> m_pending;
    std::vector<std::vector<Dictionary>> m_full;
    std::atomic<long> m_delivered { 0 };
    std::atomic<bool> m_isEnding { false };
    void* m_multi;
    std::thread m_thread;
};

} // namespace telvora
