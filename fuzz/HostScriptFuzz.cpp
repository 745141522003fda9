#include <tools/host/Host.h>
#include <tools/host/Output.h>
#include <tools/host/Script.h>

#include <Telvora/Base/Dictionary.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace {

using namespace telvora::host;

// Operations that do not end the process or wait, and cannot cause a fatal error.
constexpr std::array<std::string_view, 26> harmless { "addViewControllerInfo", "bundle", "carriers",
    "connection", "defaultIndex", "device", "enrollAPMReport", "excavator", "files", "hold", "http",
    "log", "logLevel", "needToPrint", "networkStatusDecode", "networkStatusType", "occasions",
    "radio", "record", "reportAPMDict", "screen", "selectorResolve", "setLogFilter", "toJSONString",
    "trackerMeta", "window" };

bool isHarmless(std::string_view line)
{
    const auto decoded = telvora::decode(line);
    if (!decoded.value)
        return true;
    const telvora::Dictionary* object = decoded.value->if_object();
    const telvora::Value* name = object ? object->if_contains("op") : nullptr;
    if (!name || !name->is_string())
        return true;
    const std::string_view text = name->get_string();
    return std::find(harmless.begin(), harmless.end(), text) != harmless.end();
}

Script& script()
{
    static auto& script = []() -> Script& {
        if (!std::freopen("/dev/null", "w", stdout))
            std::abort();
        auto& output = *new Output;
        auto& world = *makeSimulatedWorld(1, output).release();
        return *new Script(*new Host(output, world));
    }();
    return script;
}

} // namespace

/// Every line gets a reply, whatever it contains.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view line(reinterpret_cast<const char*>(data), size);
    if (line.find('\n') == std::string_view::npos && isHarmless(line))
        script().runText(line);
    return 0;
}
