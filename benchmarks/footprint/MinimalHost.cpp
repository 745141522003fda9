// The smallest host: one channel, one event. Prints when the event was accepted (milliseconds of
// CLOCK_MONOTONIC), how many threads there are once its upload has ended, and how often they woke
// while the process was idle after that.

#include <Telvora/Telvora.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <string>
#include <time.h>
#include <unistd.h>

using namespace telvora;

namespace {

struct Threads {
    int count = 0;
    long wakeups = 0;
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
                threads.wakeups += std::atol(number + std::strlen("ctxt_switches:"));
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

} // namespace

int main(int count, char** values)
{
    const std::string collector = count > 1 ? values[1] : "http://127.0.0.1:1";
    const double idleSeconds = count > 2 ? std::atof(values[2]) : 0;

    TrackerManager& manager = TrackerManager::shared();
    manager.register_(std::make_shared<TrackerConfig>(
        "E2E", 1, StringDictionary(), Array(), false, [=] { return collector + "/e2e"; }));
    manager.setupCommonE2EDatas();
    TrackerManager::start();
    manager.enrollE2ETrack({ { "name", "order.submit" }, { "ms", 12.5 } });
    const auto account = [&] { return manager.ledger("E2E")->events; };
    while (account().accepted == 0)
        sleepFor(0.00002);
    timespec now {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const double acceptedAt
        = static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;

    while (account().delivered + account().waiting == 0)
        sleepFor(0.001);
    const int threads = otherThreads().count;
    // A worker without blocks waits a moment before it sleeps, and surplus threads end after a
    // while.
    sleepFor(idleSeconds > 0 ? 3 : 0);
    const Threads before = otherThreads();
    sleepFor(idleSeconds / 2);
    // Not at the end, where the tick of the minute has just used a worker.
    const Threads idle = otherThreads();
    sleepFor(idleSeconds / 2);
    const Threads after = otherThreads();

    std::printf("accepted %.3f\nthreads %d\nidleThreads %d\nwakeups %ld\n", acceptedAt, threads,
        idle.count, after.wakeups - before.wakeups);
}
