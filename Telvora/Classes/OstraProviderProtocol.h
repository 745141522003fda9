#pragma once

#include <Telvora/Base/Export.h>

#include <string>

namespace telvora {

/// An in-house reporting service of the host's, which takes APM reports instead of the "APM"
/// channel.
///
/// Threads: called on the thread that reports, several at once if several report.
/// Failure: the library does not ask what becomes of a report; what report() throws is caught and
/// counted.
class TELVORA_EXPORT QVXOstraProviderProtocol {
public:
    virtual ~QVXOstraProviderProtocol() = default;

    /// `name` is always "vendel-app"; `content` is the report as JSON text in UTF-8.
    virtual void report(const std::string& name, const std::string& content) = 0;
};

} // namespace telvora
