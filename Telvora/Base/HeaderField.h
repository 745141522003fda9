#pragma once

#include <Telvora/Base/Export.h>

#include <string_view>

/// The rules of RFC 9110, section 5, for the header fields of a request.
///
/// Threads: any; there is no state.
namespace telvora::detail {

/// Whether both name the same field. The case of ASCII letters does not matter.
TELVORA_EXPORT bool isSameFieldName(std::string_view one, std::string_view other);

/// Whether `text` is a token and so can be the name of a field.
TELVORA_EXPORT bool isFieldName(std::string_view text);

/// Whether `text` can be the value of a field. A carriage return, a line feed or a NUL would end
/// the value, and a server would read the rest as further fields.
TELVORA_EXPORT bool isFieldValue(std::string_view text);

/// `text` without white space and line breaks at its front and its end.
TELVORA_EXPORT std::string_view trimmedFieldValue(std::string_view text);

} // namespace telvora::detail
