#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>

#include <optional>
#include <string>

namespace telvora {

/// JSON text of the dictionary in the style `options`; absent when it contains NaN or an infinity.
TELVORA_EXPORT std::optional<std::string> toJSONData(
    const Dictionary& dictionary, EncodeStyle options);

/// JSON text of the dictionary, indented unless `prettyPrint` is false; absent as for toJSONData().
TELVORA_EXPORT std::optional<std::string> toJSONString(
    const Dictionary& dictionary, bool prettyPrint = true);

} // namespace telvora
