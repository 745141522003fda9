#include <benchmarks/IntakeContenders.h>

#include <Telvora/Telvora.h>

#include <benchmarks/Figures.h>
#include <benchmarks/SampleEvent.h>

#include <librdkafka/rdkafka.h>
#include <spdlog/async.h>
#include <spdlog/sinks/null_sink.h>

#include <chrono>
#include <iterator>
#include <vector>

namespace telvora {

namespace {

constexpr const char* channelIndex = "E2E";
constexpr std::int64_t channelLimit = 100;

LedgerAccount account()
{
    return TrackerManager::shared().ledger(channelIndex)->events;
}

std::string sampleText()
{
    return encode(makeSampleEvent(0)).value();
}

} // namespace

TelvoraContender::TelvoraContender()
{
    TrackerManager& manager = TrackerManager::shared();
    if (!manager.config(channelIndex)) {
        manager.register_(std::make_shared<TrackerConfig>(
            channelIndex, channelLimit, StringDictionary(), Array(), false, [] { return "/"; }));
        manager.setupCommonDatas(makeSampleCommonData(), "data", channelIndex);
    }
    m_deliveredBefore = account().delivered;
}

void TelvoraContender::submit(Submission&& submission)
{
    TrackerManager::shared().appendTracker(
        std::move(submission.event), std::move(submission.index));
}

bool TelvoraContender::finish(long submitted)
{
    waitUntil("events to be delivered", [&] {
        const LedgerAccount now = account();
        return now.delivered + now.pending == m_deliveredBefore + submitted && now.inFlight == 0;
    });
    return account().dropped.total() == 0;
}

MoodycamelContender::MoodycamelContender()
    : m_consumer([this] {
        while (!m_isEnding) {
            m_taken += take();
            std::this_thread::sleep_for(std::chrono::microseconds(250));
        }
        m_taken += take();
    })
{
}

long MoodycamelContender::take()
{
    long taken = 0;
    std::vector<Payload> batch(64);
    while (const auto count = m_queue.try_dequeue_bulk(batch.begin(), batch.size())) {
        taken += static_cast<long>(count);
        for (std::size_t index = 0; index < count; ++index)
            batch[index] = {};
    }
    return taken;
}

bool MoodycamelContender::finish(long submitted)
{
    m_isEnding = true;
    m_consumer.join();
    return m_taken == submitted;
}

KafkaContender::KafkaContender()
    : m_text(sampleText())
{
    char problem[256];
    rd_kafka_conf_t* conf = rd_kafka_conf_new();
    const auto set = [&](const char* name, const char* value) {
        rd_kafka_conf_set(conf, name, value, problem, sizeof problem);
    };
    // No server listens on port 1; log_level 0 hides the errors.
    set("bootstrap.servers", "127.0.0.1:1");
    set("queue.buffering.max.messages", "10000000");
    set("queue.buffering.max.kbytes", "2097151");
    set("log_level", "0");
    m_producer = rd_kafka_new(RD_KAFKA_PRODUCER, conf, problem, sizeof problem);
    m_topic = rd_kafka_topic_new(m_producer, "telvora-bench", nullptr);
}

KafkaContender::~KafkaContender()
{
    rd_kafka_topic_destroy(m_topic);
    rd_kafka_destroy(m_producer);
}

void KafkaContender::submit(Submission&& /*submission*/)
{
    if (rd_kafka_produce(m_topic, RD_KAFKA_PARTITION_UA, RD_KAFKA_MSG_F_COPY, m_text.data(),
            m_text.size(), nullptr, 0, nullptr)
        != 0)
        m_refused.fetch_add(1, std::memory_order_relaxed);
}

bool KafkaContender::finish(long /*submitted*/)
{
    rd_kafka_purge(m_producer, RD_KAFKA_PURGE_F_QUEUE | RD_KAFKA_PURGE_F_INFLIGHT);
    rd_kafka_flush(m_producer, 10'000);
    return m_refused == 0;
}

SpdlogContender::SpdlogContender()
    : m_pool(std::make_shared<spdlog::details::thread_pool>(8192, 1))
    , m_logger(std::make_shared<spdlog::async_logger>("bench",
          std::make_shared<spdlog::sinks::null_sink_mt>(), m_pool,
          spdlog::async_overflow_policy::block))
    , m_text(sampleText())
{
}

SpdlogContender::~SpdlogContender() = default;

void SpdlogContender::submit(Submission&& /*submission*/)
{
    m_logger->log(spdlog::level::info, spdlog::string_view_t(m_text));
}

bool SpdlogContender::finish(long /*submitted*/)
{
    m_logger.reset();
    // Ends its thread after the last message.
    m_pool.reset();
    return true;
}

} // namespace telvora
