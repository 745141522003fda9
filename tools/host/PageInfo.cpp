#include <tools/host/PageInfo.h>

#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <tools/host/ScriptError.h>

namespace telvora::host {

Value topPage()
{
    const auto info = TrackerDataExcavator::topViewControllerInfo();
    if (!info)
        return nullptr;
    Dictionary params;
    for (const auto& [key, text] : info->params)
        params[key] = text;
    const auto screen = info->vc.lock();
    Dictionary page;
    page["vc"] = screen ? Value(screen->className()) : Value(nullptr);
    page["params"] = std::move(params);
    return page;
}

std::shared_ptr<UIViewController> screenNamed(Host& host, const std::string& id)
{
    SimulatedPlatform* platform = host.world().simulated();
    auto screen = platform ? platform->screens().screen(id) : nullptr;
    if (!screen)
        throw ScriptError("No screen \"" + id + "\" has been made");
    return screen;
}

} // namespace telvora::host
