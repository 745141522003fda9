#include <Telvora/Platform/Simulated/ScriptedBundle.h>

#include <utility>

namespace telvora {

std::optional<Value> ScriptedBundle::objectForInfoDictionaryKey(std::string_view key) const
{
    m_questionObserver("infoDictionary:" + std::string(key));
    MutexLock lock(m_lock);
    const auto* value = m_info.if_contains({ key.data(), key.size() });
    return value ? std::optional(*value) : std::nullopt;
}

std::optional<std::string> ScriptedBundle::bundleIdentifier() const
{
    m_questionObserver("bundleIdentifier");
    MutexLock lock(m_lock);
    return m_identifier;
}

void ScriptedBundle::setInfoDictionary(Dictionary info)
{
    MutexLock lock(m_lock);
    m_info.swap(info);
}

void ScriptedBundle::setBundleIdentifier(std::optional<std::string> identifier)
{
    MutexLock lock(m_lock);
    m_identifier = std::move(identifier);
}

void ScriptedBundle::setQuestionObserver(QuestionObserver::Function observer)
{
    m_questionObserver.set(std::move(observer));
}

} // namespace telvora
