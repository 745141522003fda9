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

/// Fills in `p`, `wifi` and `pageExpend`, those of them that the record has as optional properties
/// and that are absent, and gives the record back. An absent `batr` stays absent: nothing is known
/// of the battery.
template<DataAsDictRecord Record> Record& completed(Record& record)
{
    if constexpr (requires {
                      {
                          record.p
                          } -> std::same_as<std::optional<std::string>&>;
                  }) {
        if (!record.p)
            record.p = ReportContext::page();
    }
    if constexpr (requires {
                      {
                          record.wifi
                          } -> std::same_as<std::optional<bool>&>;
                  }) {
        if (!record.wifi)
            record.wifi = ReportContext::isOnWiFi();
    }
    if constexpr (requires {
                      {
                          record.pageExpend
                          } -> std::same_as<std::optional<StringDictionary>&>;
                  }) {
        if (!record.pageExpend)
            record.pageExpend = ReportContext::pageParameters();
    }
    return record;
}

} // namespace telvora::detail
