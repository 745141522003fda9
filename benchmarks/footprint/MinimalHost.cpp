// The smallest host: one channel, one event. Prints when the event was accepted (milliseconds of
// CLOCK_MONOTONIC, and of those since main began), how many threads there are once its upload has
// ended, and how often they woke while the process was idle after that: the moments in which a
// thread ran after 10 ms in which none ran, and the context switches of the moment with the most.
//
// Usage: minimal_host [COLLECTOR [IDLE-SECONDS [keep|drop]]]
// keep: the batch waits for its retry, which the tick of the minute tries. drop: it does not.

#include <Telvora/Telvora.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <sched.h>
#include <string>
#include <time.h>
#include <unistd.h>
#include <utility>

using namespace telvora;

namespace {

struct Threads {
    int count = 0;
    long switches = 0;
};

// All threads but the main one, which wakes to take the figures.
Threads otherThreads()
{
    Threads threads;
    DIR* directory = ::opendir("/proc/self/task");
    while (const dirent* entry = ::readdir(directory)) {
        const long thread = std::atol(entry->d_name);
        if (thread == 0 || thread == ::getpid())
            continue;
        ++threads.count;
        const std::string path = std::string("/proc/self/task/") + entry->d_name + "/status";
        FILE* file = std::fopen(path.c_str(), "r");
        char line[256];
        while (file && std::fgets(line, sizeof line, file)) {
            if (const char* number = std::strstr(line, "ctxt_switches:"))
                threads.switches += std::atol(number + std::strlen("ctxt_switches:"));
        }
        if (file)
            std::fclose(file);
    }
    ::closedir(directory);
    return threads;
}

void sleepFor(double seconds)
{
    const auto whole = static_cast<time_t>(seconds);
    const timespec length { whole,
        static_cast<long>((seconds - static_cast<double>(whole)) * 1e9) };
    ::nanosleep(&length, nullptr);
}

struct Wakeups {
    int moments = 0;
    long switches = 0;
    long mostSwitches = 0;
};

double millisecondsNow()
{
    timespec now {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

Wakeups watch(double seconds)
{
    constexpr double step = 0.002;
    constexpr int silentSteps = 5;
    Wakeups wakeups;
    int silent = silentSteps;
    long inMoment = 0;
    long before = otherThreads().switches;
    const double end = millisecondsNow() + seconds * 1e3;
    while (millisecondsNow() < end) {
        sleepFor(step);
        const long now = otherThreads().switches;
        const long more = now - std::exchange(before, now);
        if (more == 0) {
            ++silent;
            continue;
        }
        if (silent >= silentSteps) {
            ++wakeups.moments;
            inMoment = 0;
        }
        silent = 0;
        inMoment += more;
        wakeups.switches += more;
        wakeups.mostSwitches = std::max(wakeups.mostSwitches, inMoment);
    }
    return wakeups;
}

} // namespace

int main(int count, char** values)
{
    const double mainAt = millisecondsNow();
    const std::string collector = count > 1 ? values[1] : "http://127.0.0.1:1";
    const double idleSeconds = count > 2 ? std::atof(values[2]) : 0;

    TrackerManager& manager = TrackerManager::shared();
    manager.register_(std::make_shared<TrackerConfig>(
        "E2E", 1, StringDictionary(), Array(), false, [=] { return collector + "/e2e"; }));
    manager.setupCommonE2EDatas();
    TrackerManager::start();
    manager.enrollE2ETrack({ { "name", "order.submit" }, { "ms", 12.5 } });
    const auto account = [&] { return manager.ledger("E2E")->events; };
    // Not by sleeping, which takes 50 microseconds at least.
    while (account().accepted == 0)
        ::sched_yield();
    const double acceptedAt = millisecondsNow();

    while (account().delivered + account().waiting == 0)
        sleepFor(0.001);
    const int threads = otherThreads().count;
    // A worker without blocks waits a moment before it sleeps, and surplus threads end after a
    // while.
    sleepFor(idleSeconds > 0 ? 3 : 0);
    if (count > 3 && std::string(values[3]) == "drop")
        manager.config("E2E")->popRetryData();
    const Wakeups first = watch(idleSeconds / 2);
    // Not at the end, where the tick of the minute has just used a worker.
    const Threads idle = otherThreads();
    const Wakeups second = watch(idleSeconds / 2);

    std::printf("accepted %.3f\nacceptedSinceMain %.3f\nthreads %d\nidleThreads %d\nwakeups %d\n"
                "switches %ld\n",
        acceptedAt, acceptedAt - mainAt, threads, idle.count, first.moments + second.moments,
        std::max(first.mostSwitches, second.mostSwitches));
}
