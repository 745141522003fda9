#include <tests/Classes/AllocationFault.h>

#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <tests/Classes/ImmediatePlatform.h>

#include <gtest/gtest.h>

namespace telvora {
namespace {

class CountingService final : public LogService {
public:
    void loggerInit() override { }
    void log(unsigned, const std::string&) override { ++count; }

    int count = 0;
};

TEST(LogFaultTest, ALineWithoutMemoryIsLostAndNothingIsThrown)
{
    immediate();
    const auto service = std::make_shared<CountingService>();
    QuorvexLog::setLogService(service);
    QuorvexLog::configLogger();
    const QuorvexLogCategory category("a category whose name needs memory of its own");
    const Dictionary event { { "key", "text that needs memory of its own" } };

    int spared = 0;
    for (bool hasStruck = true; hasStruck; ++spared) {
        const AllocationFault fault(spared);
        QuorvexLog::log(category, event);
        qvxLogWithLevel(1, "a line that needs memory of its own");
        hasStruck = fault.hasStruck();
    }

    EXPECT_GT(spared, 1);
    // Each round lost one of the two lines, except the last round.
    EXPECT_EQ(service->count, spared + 1);
}

} // namespace
} // namespace telvora
