#include <fuzz/DrawnValue.h>

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/Encoder.h>
#include <Telvora/Base/Gzip.h>
#include <Telvora/Classes/Utils/Batch.h>
#include <Telvora/Classes/Utils/CommonData.h>
#include <Telvora/Classes/Utils/EventList.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace telvora;
using detail::AnyDepth;

Dictionary dictionaryOf(Value&& value)
{
    if (Dictionary* dictionary = value.if_object())
        return std::move(*dictionary);
    Dictionary dictionary;
    dictionary.emplace("value", std::move(value));
    return dictionary;
}

void require(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace

/// A batch that is made of text is the one that is encoded from dictionaries, and is seen like it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Bytes bytes(data, size);
    const std::string key(bytes.text());
    fuzz::Drawn common = fuzz::draw(bytes.part(bytes.next()));
    bool isFinite = common.isFinite;
    AnyDepth<Dictionary> commonDatas(dictionaryOf(std::move(common.value)));

    detail::Encoder encoder(EncodeStyle::compact, detail::NonFinite::refuse);
    detail::EventList list;
    Array events;
    for (unsigned count = bytes.next() % 4; count > 0; --count) {
        fuzz::Drawn drawn = fuzz::draw(count == 1 ? bytes : bytes.part(bytes.next()));
        isFinite = isFinite && drawn.isFinite;
        Value event = dictionaryOf(std::move(drawn.value));
        events.push_back(nullptr);
        events.back() = copy(event);
        list.append(std::move(event), detail::encodeEvent(event, encoder));
        dispose(std::move(event));
    }

    AnyDepth<Dictionary> whole(copy(*commonDatas));
    Value& place = (*whole)[key];
    dispose(std::exchange(place, nullptr));
    place = std::move(events);

    const auto encodedCommon = std::make_shared<const detail::EncodedCommonData>(
        TrackerCommonData { copy(*commonDatas), key });
    const auto expected = encode(*whole);
    for (const BodyEncoding encoding : { BodyEncoding::plain, BodyEncoding::gzip }) {
        const Batch batch = detail::makeTextBatch(encodedCommon, list, encoding);
        const auto body = batch.encoded();
        require(body.has_value() == expected.has_value());
        if (body && encoding == BodyEncoding::plain)
            require(*body == *expected);
        if (body && encoding == BodyEncoding::gzip)
            require(detail::gunzipped(*body) == *expected);
        require(describe(*batch) == describe(*whole));
        // No NaN is equal to itself.
        if (isFinite)
            require(*batch == *whole);
    }
    return 0;
}
