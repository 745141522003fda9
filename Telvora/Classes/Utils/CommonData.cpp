#include <Telvora/Classes/Utils/CommonData.h>

#include <Telvora/Base/Encoder.h>

#include <optional>
#include <utility>

namespace telvora::detail {

EncodedCommonData::EncodedCommonData(TrackerCommonData&& commonData)
    : data(std::move(commonData))
{
    Encoder encoder(EncodeStyle::compact, NonFinite::refuse);
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
