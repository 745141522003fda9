#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/Bundle.h>
#include <Telvora/Platform/Simulated/Observer.h>

#include <optional>
#include <string>
#include <string_view>

namespace telvora {

/// A Bundle with the test's values: at the start version "1.0.0" of "com.example.host".
///
/// Questions it reports: "infoDictionary:" with the key, "bundleIdentifier".
///
/// Threads: any.
class TELVORA_EXPORT ScriptedBundle final : public Bundle {
public:
    std::optional<Value> objectForInfoDictionaryKey(std::string_view key) const override;
    std::optional<std::string> bundleIdentifier() const override;

    /// Replaces the whole information dictionary.
    void setInfoDictionary(Dictionary info);
    /// Absent: the bundle has none. It does not change the information dictionary.
    void setBundleIdentifier(std::optional<std::string> identifier);

    /// Called for each question, before its answer is read.
    void setQuestionObserver(QuestionObserver::Function observer);

private:
    QuestionObserver m_questionObserver;
    detail::Guarded<Dictionary> m_info { Dictionary { { "CFBundleShortVersionString", "1.0.0" } } };
    detail::Guarded<std::optional<std::string>> m_identifier { "com.example.host" };
};

} // namespace telvora
