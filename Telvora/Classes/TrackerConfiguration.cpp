#include <Telvora/Classes/TrackerConfiguration.h>

#include <Telvora/Base/ProcessValue.h>

namespace telvora {

namespace {

constinit detail::ProcessValue<TrackerMode> s_mode { TrackerMode::release };

} // namespace

TrackerMode TrackerConfiguration::mode()
{
    return s_mode->load(std::memory_order_relaxed);
}

void TrackerConfiguration::setMode(TrackerMode mode)
{
    s_mode.change().store(mode, std::memory_order_relaxed);
}

std::string_view TrackerConfiguration::ipaMode()
{
    return mode() == TrackerMode::release ? "RELEASE" : "DEBUG";
}

} // namespace telvora
