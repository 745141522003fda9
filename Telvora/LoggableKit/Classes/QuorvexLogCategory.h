#pragma once

#include <Telvora/Base/Export.h>

#include <string>

namespace telvora {

/// What a log line is about. Two categories are the same when their names are.
///
/// The named ones are made on first use and never destroyed.
struct TELVORA_EXPORT QuorvexLogCategory {
    std::string name;

    explicit QuorvexLogCategory(std::string categoryName)
        : name(std::move(categoryName))
    {
    }

    bool operator==(const QuorvexLogCategory&) const = default;

    /// "HTTP"
    static const QuorvexLogCategory& http();
    /// "Sensors"
    static const QuorvexLogCategory& sensors();

    /// "TrackerData"
    static const QuorvexLogCategory& trackerData();
    /// "TrackerTransition"
    static const QuorvexLogCategory& trackerTransition();
    /// "Watchdog"
    static const QuorvexLogCategory& watchdog();
    /// "APM-Http". Deliberate: the name of the first of the filter's networking categories.
    static const QuorvexLogCategory& endToEnd();
    /// "Tracker Manager"
    static const QuorvexLogCategory& tracker();
    /// "db"
    static const QuorvexLogCategory& db();
};

} // namespace telvora
