#include <Telvora/Platform/Simulated/ScriptedBundle.h>

#include <utility>

namespace telvora {

std::optional<Value> ScriptedBundle::objectForInfoDictionaryKey(std::string_view key) const
{
    m_questionObserver("infoDictionary:" + std::string(key));
    return m_info.with([&](const Dictionary& info) {
        const auto* value = info.if_contains({ key.data(), key.size() });
        return value ? std::optional(*value) : std::nullopt;
    });
}

std::optional<std::string> ScriptedBundle::bundleIdentifier() const
{
    m_questionObserver("bundleIdentifier");
    return m_identifier.get();
}

void ScriptedBundle::setInfoDictionary(Dictionary info)
{
    m_info.set(std::move(info));
}

void ScriptedBundle::setBundleIdentifier(std::optional<std::string> identifier)
{
    m_identifier.set(std::move(identifier));
}

void ScriptedBundle::setQuestionObserver(QuestionObserver::Function observer)
{
    m_questionObserver.set(std::move(observer));
}

} // namespace telvora
