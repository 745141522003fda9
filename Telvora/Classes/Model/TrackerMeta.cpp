#include <Telvora/Classes/Model/TrackerMeta.h>

#include <Telvora/Classes/TrackerConfiguration.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Platform.h>

namespace telvora {

TrackerMeta::TrackerMeta(T type)
    : t(std::move(type.name))
    , d(platform().clock.secondsSince1970())
    , ipaMode(TrackerConfiguration::ipaMode())
{
}

} // namespace telvora
