#include <Telvora/Classes/Utils/CommonData.h>

#include <Telvora/Base/Encoder.h>
#include <Telvora/Base/UsualMemory.h>

#include <optional>
#include <utility>

namespace telvora::detail {

EncodedCommonData::EncodedCommonData(TrackerCommonData&& commonData)
    : EncodedCommonData(std::move(commonData), NonFinite::refuse)
{
}

// After the other constructor, so that an exception runs the destructor.
EncodedCommonData::EncodedCommonData(TrackerCommonData&& commonData, NonFinite nonFinite)
    : EncodedCommonData()
{
    // Batches keep them longer than a host keeps the memory.
    data.commonDatas = std::move(*takenToUsualMemory(std::move(commonData.commonDatas)));
    data.dataListKey = std::move(commonData.dataListKey);
    Encoder encoder(EncodeStyle::compact, nonFinite);
    const std::optional<std::size_t> behindBracket
        = encoder.writeAroundList(data.commonDatas, data.dataListKey);
    isEncodable = behindBracket.has_value();
    const std::string_view text = isEncodable ? encoder.view() : "[]";
    head = text.substr(0, behindBracket.value_or(1));
    tail = text.substr(head.size());
}

EncodedCommonData::~EncodedCommonData()
{
    dispose(std::move(data.commonDatas));
}

} // namespace telvora::detail
