#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Telvora.h>

#include <tests/ChildProcess.h>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

// A loopback port that takes connections and never answers: nobody accepts them.
class SilentPort {
public:
    SilentPort();
    ~SilentPort() { close(m_socket); }
    std::string url() const { return "http://127.0.0.1:" + std::to_string(m_port) + "/"; }

private:
    int m_socket;
    int m_port = 0;
};

SilentPort::SilentPort()
    : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* plain = static_cast<sockaddr*>(static_cast<void*>(&address));
    bind(m_socket, plain, length);
    listen(m_socket, 128);
    getsockname(m_socket, plain, &length);
    m_port = ntohs(address.sin_port);
}

/// What a host usually calls; every thread of the library is then at work.
void useTheLibrary(const std::string& url)
{
    TrackerManager& manager = TrackerManager::shared();
    manager.register_(std::make_shared<TrackerConfig>(
        "E2E", 2, StringDictionary(), Array(), false, [url] { return url; }));
    manager.setupCommonE2EDatas();
    TrackerManager::start();
    TrackerDataExcavator::initial();
    TrackerDataLifeCycleMonitor::setup();
    for (int number = 0; number < 20; ++number)
        manager.enrollE2ETrack({ { "number", number } });
}

// The child's limit ends the wait if the uploads never begin.
void waitForUploads()
{
    while (TrackerManager::shared().ledger("E2E")->events.inFlight != 20)
        std::this_thread::sleep_for(1ms);
}

TEST(HostProcessTest, TheProcessEndsCleanlyWithUploadsUnderWay)
{
    const SilentPort port;
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(endOfChild([&] {
            useTheLibrary(port.url());
            if (round % 2 == 0)
                waitForUploads();
        }),
            "exited 0");
    }
}

TEST(HostProcessTest, CallsFromExitHandlersAreHarmless)
{
    const SilentPort port;
    for (const bool shutsDown : { false, true }) {
        EXPECT_EQ(endOfChild([&] {
            // Registered first, so it runs after everything that came later is gone. The child's
            // limit is shorter than these deadlines.
            std::atexit([] {
                TrackerManager::shared().enrollE2ETrack({ { "late", true } });
                TrackerManager::shared().reportAPMDict({ { "t", "LATE" } });
                TrackerManager::stop();
                TrackerManager::start();
                const auto flushed = TrackerManager::flush(1h);
                const auto shutDown = TrackerManager::shutdown(1h);
                if (flushed->left < 20 || shutDown->left < 20)
                    ::_exit(3);
            });
            useTheLibrary(port.url());
            waitForUploads();
            // Registered last, so it runs before the library's own.
            std::atexit([] { TrackerManager::flush(10ms); });
            if (shutsDown)
                std::atexit([] { TrackerManager::shutdown(10ms); });
        }),
            "exited 0");
    }
}

TEST(HostProcessTest, NothingIsPrinted)
{
    const SilentPort port;
    const std::string file = testing::TempDir() + "host-output-" + std::to_string(getpid());
    EXPECT_EQ(endOfChild([&] {
        if (!std::freopen(file.c_str(), "w", stdout) || !std::freopen(file.c_str(), "a", stderr))
            ::_exit(90);
        useTheLibrary(port.url());
        TrackerManager::shared().appendTracker({ { "x", 1 } }, "nowhere");
        platform().notificationCenter.post(Notification::didEnterBackground);
    }),
        "exited 0");

    std::ifstream output(file);
    const std::string text((std::istreambuf_iterator<char>(output)), {});
    EXPECT_EQ(text, "");
    std::filesystem::remove(file);
}

TEST(HostProcessTest, SignalsAreLeftToTheHost)
{
    const SilentPort port;
    EXPECT_EQ(endOfChild([&] {
        struct sigaction before[NSIG] { };
        for (int signal = 1; signal < NSIG; ++signal)
            sigaction(signal, nullptr, &before[signal]);
        useTheLibrary(port.url());
        waitForUploads();
        for (int signal = 1; signal < NSIG; ++signal) {
            struct sigaction after { };
            sigaction(signal, nullptr, &after);
            if (after.sa_handler != before[signal].sa_handler)
                std::exit(4);
        }

        // Every thread of the library has a name and blocks every signal that can be blocked.
        int ours = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
            if (entry.path().filename() == std::to_string(getpid()))
                continue;
            std::ifstream status(entry.path() / "status");
            std::string name;
            std::string blocked;
            for (std::string line; std::getline(status, line);) {
                if (line.starts_with("Name:"))
                    name = line;
                if (line.starts_with("SigBlk:"))
                    blocked = line.substr(line.find_last_of(" \t") + 1);
            }
            if (name.find("telvora-") == std::string::npos)
                continue;
            ++ours;
            const auto mask = std::stoull(blocked, nullptr, 16);
            for (const int signal :
                { SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGCHLD, SIGALRM, SIGUSR1 }) {
                if (!(mask & (1ull << (signal - 1))))
                    std::exit(5);
            }
        }
        std::exit(ours >= 3 ? 0 : 6);
    }),
        "exited 0");
}

} // namespace
} // namespace telvora::detail
