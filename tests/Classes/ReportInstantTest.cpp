#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <gtest/gtest.h>

#include <memory>

namespace telvora {
namespace {

// Advances by a second with each reading.
class SteppingClock final : public Clock {
public:
    double secondsSince1970() const override { return 1'700'000'000 + ++m_readings; }
    std::chrono::steady_clock::time_point steadyNow() const override { return {}; }

private:
    mutable int m_readings = 0;
};

// The simulated platform with that clock. Never destroyed, because the library's shared objects
// still use it.
struct SteppingPlatform {
    static SimulatedPlatform& install()
    {
        auto& made = *new SteppingPlatform;
        installPlatform(made.services);
        return made.simulated;
    }

    SimulatedPlatform simulated;
    SteppingClock clock;
    Platform services { simulated.application(), simulated.bundle(), clock, simulated.device(),
        simulated.dispatch(), simulated.fileManager(), simulated.httpClient(),
        simulated.lifeCycleChecker(), simulated.notificationCenter(), simulated.reachability(),
        simulated.screens(), simulated.telephony(), simulated.uuids() };
};

TEST(ReportInstantTest, TheTimeOfAReportAndItsTimeSinceTheStartAreReadTogether)
{
    SimulatedPlatform& simulated = SteppingPlatform::install();
    TrackerDataExcavator::setStartTimestamp(1'600'000'000);
    const auto seen = std::make_shared<Dictionary>();
    TrackerManager::setTriggerCallback(
        [seen](const Dictionary& event, const std::string&) { *seen = event; });

    TrackerManager::shared().reportAPMDict({ { "t", "x" } });
    simulated.runUntilIdle();

    EXPECT_EQ(seen->at("si").as_double(), seen->at("d").as_double() - 1'600'000'000);
}

} // namespace
} // namespace telvora
