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

/// The roads that an event can take out of a thread's hands: ours, and those that it is measured
/// beside. A road lives for one round. submit() is what is timed; finish() waits until everything
/// submitted has been consumed, and is false where something was lost.
namespace telvora {

/// What a host hands over; built outside of the timed stretch.
struct Submission {
    Dictionary event;
    std::string index;
};

/// TrackerManager::appendTracker(): limit 100, batches encoded and answered at once in-process.
class TelvoraRoad {
public:
    TelvoraRoad();
    void submit(Submission&& submission);
    bool finish(long submitted);

private:
    std::int64_t m_deliveredBefore;
};

/// moodycamel::ConcurrentQueue with as much as our block carries; the consumer polls every 250 µs
/// and destroys what it finds.
class MoodycamelRoad {
public:
    MoodycamelRoad();
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

/// rd_kafka_produce() with a copy of the text, into a queue that nothing overflows. No broker, so
/// that its thread only looks after the queue; purged at the end.
class KafkaRoad {
public:
    KafkaRoad();
    ~KafkaRoad();
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
class SpdlogRoad {
public:
    SpdlogRoad();
    ~SpdlogRoad();
    void submit(Submission&& submission);
    bool finish(long submitted);

private:
    std::shared_ptr<spdlog::details::thread_pool> m_pool;
    std::shared_ptr<spdlog::logger> m_logger;
    std::string m_text;
};

} // namespace telvora
