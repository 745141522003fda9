#include <Telvora/LoggableKit/Classes/Extension/Dictionary+Extension.h>

namespace telvora {

std::optional<std::string> toJSONData(const Dictionary& dictionary, EncodeStyle options)
{
    return encode(dictionary, options);
}

std::optional<std::string> toJSONString(const Dictionary& dictionary, bool prettyPrint)
{
    return toJSONData(dictionary, prettyPrint ? EncodeStyle::pretty : EncodeStyle::compact);
}

} // namespace telvora
