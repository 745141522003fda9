#pragma once

#include <Telvora/Base/Export.h>

#include <string>

namespace telvora {

/// The subject of a log line. Two categories with the same name are the same.
///
/// Life: the categories below are made on first use and never destroyed.
/// Threads: a value without a lock.
struct TELVORA_EXPORT QuorvexLogCategory {
    /// Printed in brackets in front of each line.
    std::string name;

    /// A category of that name.
    explicit QuorvexLogCategory(std::string categoryName)
        : name(std::move(categoryName))
    {
    }

    /// Whether the names are the same.
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
    /// "APM-Http". Deliberate: also the name of the first networking category of the filter.
    static const QuorvexLogCategory& endToEnd();
    /// "Tracker Manager"
    static const QuorvexLogCategory& tracker();
    /// "db"
    static const QuorvexLogCategory& db();
};

} // namespace telvora
