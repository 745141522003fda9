#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/Device.h>
#include <Telvora/Platform/Simulated/Observer.h>

#include <cstdint>
#include <optional>
#include <string>

namespace telvora {

/// A Device with the test's values: at the start a phone, an "iPhone 12" with system 15.0.
///
/// Questions it reports: "safeDescription", "identifier", "ppi", "systemVersion", "osVersionTest",
/// "idiom", "screenBounds", "screenScale", "activeProcessorCount".
///
/// Threads: any.
class TELVORA_EXPORT ScriptedDevice final : public Device {
public:
    /// What the functions of Device return; those describe meaning and unit.
    struct Values {
        /// Device::safeDescription().
        std::string safeDescription = "iPhone 12";
        /// Device::identifier().
        std::string identifier = "iPhone13,2";
        /// Pixels per inch; absent: the model is not known.
        std::optional<std::int64_t> ppi = 460;
        /// isSystemVersionAtLeast() compares the integers at its first two places; a place without
        /// an integer counts as 0.
        std::string systemVersion = "15.0";
        /// Device::userInterfaceIdiom().
        UserInterfaceIdiom idiom = UserInterfaceIdiom::phone;
        /// Points.
        Rectangle screenBounds { 0, 0, 390, 844 };
        /// Pixels per point.
        double screenScale = 3;
        /// Device::activeProcessorCount().
        std::int64_t activeProcessorCount = 6;
    };

    std::string safeDescription() const override;
    std::string identifier() const override;
    std::optional<std::int64_t> ppi() const override;
    std::string systemVersion() const override;
    bool isSystemVersionAtLeast(int major, int minor) const override;
    UserInterfaceIdiom userInterfaceIdiom() const override;
    Rectangle screenBounds() const override;
    double screenScale() const override;
    std::int64_t activeProcessorCount() const override;

    /// The test's values; a call of it is not reported as a question.
    Values values() const;
    /// Replaces them all. The library keeps most of what it has read before.
    void setValues(Values values);

    /// Called for each question, before its answer is read.
    void setQuestionObserver(QuestionObserver::Function observer);

private:
    Values asked(const char* question) const;

    QuestionObserver m_questionObserver;
    detail::Guarded<Values> m_values;
};

} // namespace telvora
