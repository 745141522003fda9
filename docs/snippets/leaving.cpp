// [leaving]
#include <Telvora/Telvora.h>

#include <chrono>
#include <iostream>

void leave()
{
    using namespace std::chrono_literals;
    const auto result = telvora::TrackerManager::shutdown(2s);
    if (result && result->left > 0)
        std::cerr << result->left << " events were not delivered\n";
}
// [leaving]

// No channel is registered, so nothing is left.
int main()
{
    leave();
    return telvora::TrackerManager::flush(std::chrono::seconds(0))->left == 0 ? 0 : 1;
}
