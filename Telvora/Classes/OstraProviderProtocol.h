#pragma once

#include <Telvora/Base/Export.h>

#include <string>

namespace telvora {

/// An in-house reporting service of the host's, which takes APM reports instead of the "APM"
/// channel.
///
/// Life: held by the manager until another one is installed, or none; reports that are under way
/// then still end in the old one.
/// Threads: called on the thread that reports, several at once if several report, without a lock
/// held: it may report again, and install another provider.
/// Failure: the library does not ask what becomes of a report. What report() throws is caught,
/// logged and counted (hostExceptionCount()).
class TELVORA_EXPORT QVXOstraProviderProtocol {
public:
    virtual ~QVXOstraProviderProtocol() = default;

    /// `name` is always "vendel-app"; `content` is the report as JSON text in UTF-8.
    virtual void report(const std::string& name, const std::string& content) = 0;
};

} // namespace telvora
