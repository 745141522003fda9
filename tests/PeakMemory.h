#pragma once

#include <fstream>
#include <string>

namespace telvora {

/// The most memory that this process has had since it was forked, in kilobytes.
inline long peakMemory()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            long kilobytes = 0;
            status >> kilobytes;
            return kilobytes;
        }
    }
    return -1;
}

} // namespace telvora
