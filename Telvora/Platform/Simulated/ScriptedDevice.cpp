#include <Telvora/Platform/Simulated/ScriptedDevice.h>

#include <charconv>
#include <string_view>
#include <utility>

namespace telvora {

std::string ScriptedDevice::safeDescription() const
{
    return asked("safeDescription").safeDescription;
}

std::string ScriptedDevice::identifier() const
{
    return asked("identifier").identifier;
}

std::optional<std::int64_t> ScriptedDevice::ppi() const
{
    return asked("ppi").ppi;
}

std::string ScriptedDevice::systemVersion() const
{
    return asked("systemVersion").systemVersion;
}

bool ScriptedDevice::isSystemVersionAtLeast(int major, int minor) const
{
    const std::string version = asked("osVersionTest").systemVersion;
    const char* end = version.data() + version.size();
    int ownMajor = 0;
    int ownMinor = 0;
    const auto [position, error] = std::from_chars(version.data(), end, ownMajor);
    if (error == std::errc() && position != end && *position == '.')
        std::from_chars(position + 1, end, ownMinor);
    return std::pair(ownMajor, ownMinor) >= std::pair(major, minor);
}

UserInterfaceIdiom ScriptedDevice::userInterfaceIdiom() const
{
    return asked("idiom").idiom;
}

Rectangle ScriptedDevice::screenBounds() const
{
    return asked("screenBounds").screenBounds;
}

double ScriptedDevice::screenScale() const
{
    return asked("screenScale").screenScale;
}

std::int64_t ScriptedDevice::activeProcessorCount() const
{
    return asked("activeProcessorCount").activeProcessorCount;
}

ScriptedDevice::Values ScriptedDevice::values() const
{
    return m_values.get();
}

void ScriptedDevice::setValues(Values values)
{
    m_values.set(std::move(values));
}

void ScriptedDevice::setQuestionObserver(QuestionObserver::Function observer)
{
    m_questionObserver.set(std::move(observer));
}

ScriptedDevice::Values ScriptedDevice::asked(const char* question) const
{
    m_questionObserver(question);
    return values();
}

} // namespace telvora
