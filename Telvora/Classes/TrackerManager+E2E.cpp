#include <Telvora/Classes/TrackerManager.h>

namespace telvora {

namespace {

// The keys under which the collectors look for the event list. They differ by channel and form.
constexpr std::string_view plainListKey = "data";
constexpr std::string_view hyphenatedListKey = "data-list";

} // namespace

void TrackerManager::enrollE2ETrack(const Dictionary& event)
{
    enrollE2ETrack(copy(event));
}

void TrackerManager::enrollE2ETrack(Dictionary&& event)
{
    stampNetwork(event);
    appendTracker(std::move(event), std::string(rawValue(DefaultIndex::E2E)));
}

void TrackerManager::enrollMPTrack(const Dictionary& event)
{
    enrollMPTrack(copy(event));
}

void TrackerManager::enrollMPTrack(Dictionary&& event)
{
    appendTracker(std::move(event), std::string(rawValue(DefaultIndex::MP)));
}

void TrackerManager::enrollSentryTrack(const Dictionary& event, bool byAPM)
{
    enrollSentryTrack(copy(event), byAPM);
}

void TrackerManager::enrollSentryTrack(Dictionary&& event, bool byAPM)
{
    stampNetwork(event);
    const DefaultIndex index = byAPM ? DefaultIndex::APM : DefaultIndex::Sentry;
    appendTracker(std::move(event), std::string(rawValue(index)));
}

Dictionary TrackerManager::getCommonE2EDatas()
{
    return standardCommonData();
}

void TrackerManager::setupCommonE2EDatas()
{
    setupCommonDatas(standardCommonData(), std::string(plainListKey), rawValue(DefaultIndex::E2E));
}

void TrackerManager::setupCommonMPDatas()
{
    setupCommonDatas(
        standardCommonData(), std::string(hyphenatedListKey), rawValue(DefaultIndex::MP));
}

void TrackerManager::setupCommonSentryDatas(bool standard, bool byAPM)
{
    if (!byAPM && !standard) {
        setupFEMonitor();
        return;
    }
    setupCommonDatas(
        standardCommonData(), std::string(plainListKey), rawValue(DefaultIndex::Sentry));
}

} // namespace telvora
