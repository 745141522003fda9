#pragma once

#include <curl/curl.h>

namespace telvora::detail {

/// Keeps the two sockets through which `multi` is woken from programs that the host starts. libcurl
/// makes them so that they are inherited, and does not tell which they are. They are found by
/// waking `multi` several times: one socket of the process then has exactly as many bytes more to
/// be read, and one has more on its way. Where there is not exactly one of each, nothing is done,
/// so that no descriptor of the host's is ever touched.
///
/// Requires that nobody else wakes `multi` meanwhile.
void closeWakeupOnExec(CURLM* multi) noexcept;

} // namespace telvora::detail
