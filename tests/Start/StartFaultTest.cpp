#include <Telvora/Start/StartTelvora.h>

#include <Telvora/Platform/Platform.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <tests/ChildProcess.h>
#include <tests/Classes/AllocationFault.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

// Each allocation of a start fails once, each in a process of its own.

namespace telvora {
namespace {

TelvoraOptions options()
{
    return {
        .channels = { { .index = "E2E",
                          .url = "https://collector.example/e2e",
                          .standardData = StandardData::standard,
                          .commonData = { { "desk", "a text that needs memory of its own" } } },
            { .index = "MP", .url = [] { return std::string("https://collector.example/mp"); } } },
        .headers = { { "X-All", "yes" } },
        .identifier = [] { return "installation-42"; },
    };
}

enum End { isRight, isNotRepeatable, isWithoutFault };

// The first start lacks one block of memory, the second one lacks none.
End startTwice(int spared)
{
    auto& platform = *new SimulatedPlatform;
    TelvoraOptions given = options();
    bool hasStruck = false;
    bool isStarted = false;
    {
        const AllocationFault fault(spared);
        isStarted = startTelvora(std::move(given), platform.services()).isStarted;
        hasStruck = fault.hasStruck();
    }
    if (!hasStruck)
        return isWithoutFault;
    const bool isUntouched = !isStarted && !detail::usedPlatform();
    if (isUntouched && !startTelvora(options(), platform.services()))
        return isNotRepeatable;
    return isRight;
}

TEST(StartFaultTest, AStartThrowsNothingAndMayBeRepeatedIfItHasInstalledNothing)
{
    int spared = 0;
    std::string end = "exited 0";
    for (; end == "exited 0"; ++spared)
        end = endOfChild([spared] { std::_Exit(startTwice(spared)); });

    EXPECT_EQ(end, "exited " + std::to_string(isWithoutFault)) << "with allocation " << spared;
    EXPECT_GT(spared, 50);
}

} // namespace
} // namespace telvora
