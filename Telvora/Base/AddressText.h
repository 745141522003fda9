#pragma once

#include <Telvora/Base/Export.h>

#include <string>
#include <string_view>

namespace telvora::detail {

/// Whether `text` is an address, whether or not a client could fetch it: "http://a.b/c",
/// "mailto:x@y" and "/path" are; "", "http://a b/", "http://[::1" and "http://a:99999/" are not.
/// A channel's address is checked with this before every request, on every platform alike.
///
/// Lenient: RFC 3986, but bytes beyond ASCII need not be escaped, and up to three slashes may
/// follow the scheme.
///
/// Threads: any. Failure: none.
TELVORA_EXPORT bool isAddressText(std::string_view text);

/// The address for people: what stands before the last "@" of user, host and port is replaced, as
/// in "http://…@a.b/c". An address without a user is unchanged, and so is what follows the host. In
/// a `text` that is no address, everything up to the last "@" is taken for a user.
///
/// Threads: any. Failure: std::bad_alloc.
TELVORA_EXPORT std::string withoutUserInfo(std::string_view text);

/// What is said of a `text` that is none, for people.
TELVORA_EXPORT std::string badAddressText(std::string_view text);

} // namespace telvora::detail
