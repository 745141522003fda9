#pragma once

#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <string>
#include <vector>

namespace telvora::detail {

/// Adds what is wrong with the options, one sentence each: those with which every upload fails, or
/// every one to a server that asks for a certificate. Files are looked for, but not read.
///
/// Threads: any. Failure: std::bad_alloc.
void addProblemsOf(const CurlHTTPOptions& options, std::vector<std::string>& problems);

} // namespace telvora::detail
