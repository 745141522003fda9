#pragma once

#include <Telvora/Base/DataAsDict.h>
#include <Telvora/Base/Export.h>

#include <concepts>
#include <optional>
#include <string>

namespace telvora::detail {

/// The present state of page and network, which completes a report. Defined in
/// TrackerManager+APM.cpp.
///
/// Threads: any.
struct TELVORA_EXPORT ReportContext {
    /// The class name of the screen on top; absent once that screen is destroyed.
    static std::optional<std::string> page();
    /// False also where nothing is known of the network.
    static bool isOnWiFi();
    /// Parameters of the page on top; absent where it has none. They outlive its screen.
    static std::optional<StringDictionary> pageParameters();
};

template<typename Record>
concept HasPage = std::same_as<decltype(Record::p), std::optional<std::string>>;
template<typename Record>
concept HasWifi = std::same_as<decltype(Record::wifi), std::optional<bool>>;
template<typename Record>
concept HasPageExpend = std::same_as<decltype(Record::pageExpend), std::optional<StringDictionary>>;

/// Fills in `p`, `wifi` and `pageExpend` where the record has such an optional property and it is
/// absent, and returns the record. An absent `batr` stays absent: the library cannot read the
/// battery.
template<DataAsDictRecord Record> Record& completed(Record& record)
{
    if constexpr (HasPage<Record>) {
        if (!record.p)
            record.p = ReportContext::page();
    }
    if constexpr (HasWifi<Record>) {
        if (!record.wifi)
            record.wifi = ReportContext::isOnWiFi();
    }
    if constexpr (HasPageExpend<Record>) {
        if (!record.pageExpend)
            record.pageExpend = ReportContext::pageParameters();
    }
    return record;
}

} // namespace telvora::detail
