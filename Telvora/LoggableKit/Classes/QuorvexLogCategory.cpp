#include <Telvora/LoggableKit/Classes/QuorvexLogCategory.h>

namespace telvora {

const QuorvexLogCategory& QuorvexLogCategory::http()
{
    static const auto& category = *new QuorvexLogCategory("HTTP");
    return category;
}

const QuorvexLogCategory& QuorvexLogCategory::sensors()
{
    static const auto& category = *new QuorvexLogCategory("Sensors");
    return category;
}

const QuorvexLogCategory& QuorvexLogCategory::trackerData()
{
    static const auto& category = *new QuorvexLogCategory("TrackerData");
    return category;
}

const QuorvexLogCategory& QuorvexLogCategory::trackerTransition()
{
    static const auto& category = *new QuorvexLogCategory("TrackerTransition");
    return category;
}

const QuorvexLogCategory& QuorvexLogCategory::watchdog()
{
    static const auto& category = *new QuorvexLogCategory("Watchdog");
    return category;
}

const QuorvexLogCategory& QuorvexLogCategory::endToEnd()
{
    static const auto& category = *new QuorvexLogCategory("APM-Http");
    return category;
}

const QuorvexLogCategory& QuorvexLogCategory::tracker()
{
    static const auto& category = *new QuorvexLogCategory("Tracker Manager");
    return category;
}

const QuorvexLogCategory& QuorvexLogCategory::db()
{
    static const auto& category = *new QuorvexLogCategory("db");
    return category;
}

} // namespace telvora
