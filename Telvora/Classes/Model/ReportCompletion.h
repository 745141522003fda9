#pragma once

#include <Telvora/Base/DataAsDict.h>
#include <Telvora/Base/Export.h>

#include <concepts>
#include <optional>
#include <string>

namespace telvora::detail {

/// What reports are completed with, as it is now.
///
/// Threads: any.
struct TELVORA_EXPORT ReportContext {
    /// The class name of the page on top, while its screen lives.
    static std::optional<std::string> page();
    /// False also where nothing is known of the network.
    static bool isOnWiFi();
    /// Absent where the page on top has none. A page that is gone still has its parameters.
    static std::optional<StringDictionary> pageParameters();
};

template<typename Record>
concept HasPage = std::same_as<decltype(Record::p), std::optional<std::string>>;
template<typename Record>
concept HasWifi = std::same_as<decltype(Record::wifi), std::optional<bool>>;
template<typename Record>
concept HasPageExpend = std::same_as<decltype(Record::pageExpend), std::optional<StringDictionary>>;

/// Fills in `p`, `wifi` and `pageExpend`, those of them that the record has as optional properties
/// and that are absent, and gives the record back. An absent `batr` stays absent: nothing is known
/// of the battery.
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
