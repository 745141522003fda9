#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Base/EventBuilder.h>

namespace telvora {

namespace {

// The keys under which the collectors expect the event list. They differ by channel and form.
constexpr std::string_view plainListKey = "data";
constexpr std::string_view hyphenatedListKey = "data-list";

std::string e2e()
{
    return std::string(rawValue(DefaultIndex::E2E));
}

std::string mp()
{
    return std::string(rawValue(DefaultIndex::MP));
}

std::string apmOrSentry(bool byAPM)
{
    return std::string(rawValue(byAPM ? DefaultIndex::APM : DefaultIndex::Sentry));
}

} // namespace

void TrackerManager::enrollE2ETrack(const Dictionary& event)
{
    submit(e2e(), [&] { enqueue(EventBuilder(event), e2e(), getCurrentNetWorkStatus()); });
}

void TrackerManager::enrollE2ETrack(Dictionary&& event)
{
    submit(e2e(), event, [&] { enqueue(std::move(event), e2e(), getCurrentNetWorkStatus()); });
}

void TrackerManager::enrollMPTrack(const Dictionary& event)
{
    appendTracker(event, mp());
}

void TrackerManager::enrollMPTrack(Dictionary&& event)
{
    appendTracker(std::move(event), mp());
}

void TrackerManager::enrollSentryTrack(const Dictionary& event, bool byAPM)
{
    submit(apmOrSentry(byAPM),
        [&] { enqueue(EventBuilder(event), apmOrSentry(byAPM), getCurrentNetWorkStatus()); });
}

void TrackerManager::enrollSentryTrack(Dictionary&& event, bool byAPM)
{
    submit(apmOrSentry(byAPM), event,
        [&] { enqueue(std::move(event), apmOrSentry(byAPM), getCurrentNetWorkStatus()); });
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
