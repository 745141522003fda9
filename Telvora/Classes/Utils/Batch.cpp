#include <Telvora/Classes/Utils/Batch.h>

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/Gzip.h>
#include <Telvora/Base/UsualMemory.h>
#include <Telvora/Classes/Utils/CommonData.h>
#include <Telvora/Classes/Utils/EventList.h>

#include <atomic>
#include <string>
#include <vector>

namespace telvora {

namespace {

std::shared_ptr<const Dictionary> shared(Dictionary&& dictionary)
{
    const auto owner = std::make_shared<detail::AnyDepth<Dictionary>>(
        detail::takenToUsualMemory(std::move(dictionary)));
    return { owner, &**owner };
}

} // namespace

namespace detail {

// Either a dictionary that was given, or text.
struct BatchContent {
    ~BatchContent() { delete decoded.load(std::memory_order_acquire); }

    static const std::shared_ptr<const BatchContent>& of(const Batch& batch)
    {
        return batch.m_content;
    }
    static Batch batch(std::shared_ptr<const BatchContent> content)
    {
        Batch batch;
        batch.m_content = std::move(content);
        return batch;
    }

    bool isText() const { return common != nullptr; }
    const Dictionary* dictionary() const;
    Array events() const;

    std::shared_ptr<const Dictionary> given {};

    // The text is the common data's head, the events, and the common data's tail.
    std::shared_ptr<const EncodedCommonData> common {};
    SharedBytes text {};
    // How long it is before it is compressed.
    std::size_t textBytes = 0;
    BodyEncoding encoding = BodyEncoding::plain;
    bool isEncodable = true;
    std::size_t eventCount = 0;
    std::vector<WholeEvent> wholeEvents {};

    // How long the text of a given dictionary is, once somebody has asked.
    static constexpr std::size_t unknownBytes = static_cast<std::size_t>(-1);
    mutable std::atomic<std::size_t> givenBytes { unknownBytes };

    // Null until somebody looks. Not behind a lock, which a forked child could inherit: of two
    // threads that decode at the same time, one throws its result away.
    mutable std::atomic<const AnyDepth<Dictionary>*> decoded { nullptr };
};

const Dictionary* BatchContent::dictionary() const
{
    if (!isText())
        return given.get();
    if (const auto* known = decoded.load(std::memory_order_acquire))
        return &**known;

    AnyDepth<Dictionary> whole(copy(common->data.commonDatas));
    AnyDepth<Array> list(events());
    Value& place = (*whole)[common->data.dataListKey];
    dispose(std::exchange(place, nullptr));
    place = std::move(*list);
    auto made = std::make_unique<AnyDepth<Dictionary>>(std::move(whole));

    const AnyDepth<Dictionary>* known = nullptr;
    // A thread that sees the pointer sees all that is behind it.
    if (!decoded.compare_exchange_strong(
            known, made.get(), std::memory_order_acq_rel, std::memory_order_acquire))
        return &**known;
    return &**made.release();
}

Array BatchContent::events() const
{
    const auto unpacked = encoding == BodyEncoding::gzip ? gunzipped(text) : std::nullopt;
    const std::string_view plain = unpacked ? std::string_view(*unpacked) : text.view();
    const std::size_t start = common->head.size();
    const std::size_t length = plain.size() - start - common->tail.size();
    return decodeEvents(plain.substr(start, length), wholeEvents);
}

} // namespace detail

using detail::BatchContent;

Batch::Batch(std::shared_ptr<const Dictionary> dictionary)
{
    if (!dictionary)
        return;
    const auto content = std::make_shared<BatchContent>();
    content->given = std::move(dictionary);
    m_content = content;
}

Batch::operator std::shared_ptr<const Dictionary>() const
{
    return { m_content, get() };
}

bool operator==(const Batch& lhs, const Batch& rhs)
{
    if (lhs.m_content == rhs.m_content)
        return true;
    return lhs && rhs && lhs.m_content->given && lhs.m_content->given == rhs.m_content->given;
}

const Dictionary* Batch::get() const
{
    return m_content ? m_content->dictionary() : nullptr;
}

BodyEncoding Batch::encoding(BodyEncoding wanted) const
{
    return m_content && m_content->isText() ? m_content->encoding : wanted;
}

std::optional<SharedBytes> Batch::encoded(BodyEncoding wanted) const
{
    if (!m_content)
        return std::nullopt;
    if (m_content->isText())
        return m_content->isEncodable ? std::optional(m_content->text) : std::nullopt;
    auto text = encode(*m_content->given);
    if (!text)
        return std::nullopt;
    return SharedBytes(wanted == BodyEncoding::gzip ? detail::gzipped(*text) : std::move(*text));
}

Batch makeBatch(Dictionary&& dictionary)
{
    return shared(std::move(dictionary));
}

Batch makeBatch(const Dictionary& dictionary)
{
    return shared(copy(dictionary));
}

Batch detail::makeTextBatch(
    std::shared_ptr<const EncodedCommonData> common, const EventList& events, BodyEncoding encoding)
{
    std::string text;
    text.reserve(common->head.size() + events.bytes() + common->tail.size());
    text += common->head;
    events.copyTextTo(text);
    text += common->tail;

    const auto content = std::make_shared<BatchContent>();
    content->isEncodable = common->isEncodable && events.isEncodable();
    content->encoding = encoding;
    content->textBytes = text.size();
    content->text = encoding == BodyEncoding::gzip ? gzipped(text) : std::move(text);
    content->common = std::move(common);
    content->eventCount = events.size();
    content->wholeEvents = events.wholeEvents();
    return BatchContent::batch(content);
}

Array detail::eventsOf(const Batch& batch)
{
    const auto& content = BatchContent::of(batch);
    return content && content->isText() ? content->events() : Array();
}

std::size_t detail::textBytes(const Batch& batch)
{
    const auto& content = BatchContent::of(batch);
    if (!content)
        return 0;
    if (content->isText())
        return content->textBytes;
    std::size_t bytes = content->givenBytes.load(std::memory_order_relaxed);
    if (bytes == BatchContent::unknownBytes) {
        const auto text = encode(*content->given);
        bytes = text ? text->size() : 0;
        content->givenBytes.store(bytes, std::memory_order_relaxed);
    }
    return bytes;
}

std::size_t detail::eventsUnder(std::string_view key, const Batch& batch)
{
    const auto& content = BatchContent::of(batch);
    if (!content)
        return 0;
    if (content->isText() && content->common->data.dataListKey == key)
        return content->eventCount;
    const Value* list = content->dictionary()->if_contains(key);
    const Array* events = list ? list->if_array() : nullptr;
    return events ? events->size() : 0;
}

} // namespace telvora
