#pragma once

#include <Telvora/Base/Export.h>

#include <string>

namespace telvora {

/// Ostra: the host's in-house reporting service, which gets APM reports instead of the "APM"
/// channel. The host implements this class and installs an object with
/// TrackerManager::setupOstra().
///
/// Life: the manager owns it until another one, or null, is installed; calls that have begun then
/// still finish on the old one.
/// Threads: called on the thread that reports, several calls at once if several threads report. No
/// lock is held, so report() may report again and may install another provider.
/// Failure: the library does not learn what becomes of a report. What report() throws is caught,
/// logged and counted (hostExceptionCount()).
class TELVORA_EXPORT QVXOstraProviderProtocol {
public:
    virtual ~QVXOstraProviderProtocol() = default;

    /// `name` is the name under which the service files the report, always "vendel-app". `content`
    /// is the report as JSON text in UTF-8.
    virtual void report(const std::string& name, const std::string& content) = 0;
};

} // namespace telvora
