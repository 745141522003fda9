#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>

#include <optional>
#include <string>

namespace telvora {

/// JSON bytes of the dictionary in that style, or absent when it cannot be encoded.
TELVORA_EXPORT std::optional<std::string> toJSONData(
    const Dictionary& dictionary, EncodeStyle options);

/// JSON text of the dictionary, for people unless told otherwise; absent when it cannot be encoded.
TELVORA_EXPORT std::optional<std::string> toJSONString(
    const Dictionary& dictionary, bool prettyPrint = true);

} // namespace telvora
