#pragma once

#include <Telvora/Base/Export.h>

#include <string_view>

/// What RFC 9110, section 5, says of the fields of a request's head.
///
/// Threads: any; nothing is kept.
namespace telvora::detail {

/// Whether both are the name of one field. Letters of ASCII are compared without regard to case.
TELVORA_EXPORT bool isSameFieldName(std::string_view one, std::string_view other);

/// Whether `text` is a token and so can be the name of a field.
TELVORA_EXPORT bool isFieldName(std::string_view text);

/// Whether `text` can be the value of a field: a carriage return, a line feed or a NUL would end
/// it, and what follows would be read as fields of their own.
TELVORA_EXPORT bool isFieldValue(std::string_view text);

/// `text` without white space and line breaks at its front and its end.
TELVORA_EXPORT std::string_view trimmedFieldValue(std::string_view text);

} // namespace telvora::detail
