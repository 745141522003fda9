#include <Telvora/LoggableKit/Classes/QuorvexLogCategory.h>

#include <Telvora/Base/Lazy.h>

namespace telvora {

namespace {

using LazyCategory = detail::Lazy<const QuorvexLogCategory>;

const QuorvexLogCategory& named(const char* name, LazyCategory& category)
{
    return category.get([&] { return new QuorvexLogCategory(name); });
}

} // namespace

const QuorvexLogCategory& QuorvexLogCategory::http()
{
    static constinit LazyCategory category;
    return named("HTTP", category);
}

const QuorvexLogCategory& QuorvexLogCategory::sensors()
{
    static constinit LazyCategory category;
    return named("Sensors", category);
}

const QuorvexLogCategory& QuorvexLogCategory::trackerData()
{
    static constinit LazyCategory category;
    return named("TrackerData", category);
}

const QuorvexLogCategory& QuorvexLogCategory::trackerTransition()
{
    static constinit LazyCategory category;
    return named("TrackerTransition", category);
}

const QuorvexLogCategory& QuorvexLogCategory::watchdog()
{
    static constinit LazyCategory category;
    return named("Watchdog", category);
}

const QuorvexLogCategory& QuorvexLogCategory::endToEnd()
{
    static constinit LazyCategory category;
    return named("APM-Http", category);
}

const QuorvexLogCategory& QuorvexLogCategory::tracker()
{
    static constinit LazyCategory category;
    return named("Tracker Manager", category);
}

const QuorvexLogCategory& QuorvexLogCategory::db()
{
    static constinit LazyCategory category;
    return named("db", category);
}

} // namespace telvora
