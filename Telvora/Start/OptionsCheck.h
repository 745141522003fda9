#pragma once

#include <Telvora/Start/TelvoraOptions.h>

#include <string>
#include <vector>

namespace telvora::detail {

/// What is wrong with the options, one sentence each, in the order of the options. Closures are not
/// called. Whether a channel is registered already is asked only while a platform is in use.
///
/// Threads: any. Failure: std::bad_alloc.
std::vector<std::string> problemsOf(const TelvoraOptions& options);

} // namespace telvora::detail
