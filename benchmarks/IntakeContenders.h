#pragma once

#include <Telvora/Base/Dictionary.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include <concurrentqueue/concurrentqueue.h>

struct rd_kafka_s;
struct rd_kafka_topic_s;
namespace spdlog {
class logger;
namespace details {
class thread_pool;
}
} // namespace spdlog

/// The ways to hand over an event that the benchmark compares: ours and those of other libraries. A
/// contender lives for one round. The time of submit() is measured; finish() waits until everything
/// submitted has been consumed, and is false where something was lost.
namespace telvora {

/// What a host hands over; built before the clock starts.
struct Submission {
    Dictionary event;
    std::string index;
};

/// TrackerManager::appendTracker(): limit 100, batches encoded and answered at once in-process.
class TelvoraContender {
public:
    TelvoraContender();
    void submit(Submission&& submission);
    bool finish(long submitted);

private:
    std::int64_t m_deliveredBefore;
};

/// moodycamel::ConcurrentQueue with a payload as large as our block's; the consumer polls every
/// 250 µs and destroys what it finds.
class MoodycamelContender {
public:
    MoodycamelContender();
    void submit(Submission&& submission) { m_queue.enqueue({ std::move(submission), this }); }
    bool finish(long submitted);

private:
    struct Payload {
        Submission submission;
        void* manager = nullptr;
    };

    long take();

    moodycamel::ConcurrentQueue<Payload> m_queue;
    std::atomic<bool> m_isEnding { false };
    long m_taken = 0;
    std::thread m_consumer;
};

/// rd_kafka_produce() with a copy of the text, into a queue that never becomes full. There is no
/// broker, so its thread only manages the queue, which is purged at the end.
class KafkaContender {
public:
    KafkaContender();
    ~KafkaContender();
    void submit(Submission&& submission);
    bool finish(long submitted);

private:
    rd_kafka_s* m_producer;
    rd_kafka_topic_s* m_topic;
    std::string m_text;
    std::atomic<long> m_refused { 0 };
};

/// spdlog's asynchronous logger with the text as its message, a queue of 8,192 that makes the
/// caller wait when it is full, and a sink that does nothing.
class SpdlogContender {
public:
    SpdlogContender();
    ~SpdlogContender();
    void submit(Submission&& submission);
    bool finish(long submitted);

private:
    std::shared_ptr<spdlog::details::thread_pool> m_pool;
    std::shared_ptr<spdlog::logger> m_logger;
    std::string m_text;
};

} // namespace telvora
