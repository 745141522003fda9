#pragma once

#include <curl/curl.h>

namespace telvora::detail {

/// Sets close-on-exec on the two sockets through which `multi` is woken. libcurl makes them
/// inheritable and does not say which they are. This function finds them: it wakes `multi` several
/// times, and then one socket of the process has exactly as many more bytes to read, and another
/// has more bytes sent and not read. If there is not exactly one of each, it does nothing, so that
/// it never changes a descriptor of the host's.
///
/// Requires that no other thread wakes `multi` meanwhile.
void closeWakeupOnExec(CURLM* multi) noexcept;

} // namespace telvora::detail
