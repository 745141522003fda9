#include <Telvora/Platform/Simulated/ManualClock.h>

#include <chrono>

int main()
{
    telvora::ManualClock clock;
    const auto before = clock.steadyNow();
    clock.advance(std::chrono::minutes(1));

    return clock.steadyNow() - before == std::chrono::minutes(1) ? 0 : 1;
}
