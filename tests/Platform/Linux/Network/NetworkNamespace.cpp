#include <tests/Platform/Linux/Network/NetworkNamespace.h>

#include <Telvora/Base/ForkedChild.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <thread>

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace telvora::detail {

namespace {

using namespace std::chrono_literals;

void writeFile(const char* path, const std::string& text)
{
    std::ofstream(path) << text;
}

bool enterNamespace()
{
    if (::unshare(CLONE_NEWNET) == 0)
        return true;

    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
        return false;
    // As the root of the new user namespace, so that `ip` keeps its rights when it is started.
    writeFile("/proc/self/setgroups", "deny");
    writeFile("/proc/self/uid_map", "0 " + user + " 1");
    writeFile("/proc/self/gid_map", "0 " + group + " 1");
    return true;
}

bool isRunning(const std::string& link)
{
    ifreq request {};
    link.copy(request.ifr_name, IFNAMSIZ - 1);
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool isRead = ::ioctl(descriptor, SIOCGIFFLAGS, &request) == 0;
    ::close(descriptor);
    return isRead && request.ifr_flags & IFF_RUNNING;
}

} // namespace

NetworkNamespace::NetworkNamespace()
    : m_isOwn(std::system("ip -V > /dev/null 2>&1") == 0 && enterNamespace())
{
}

void NetworkNamespace::ip(const std::string& commands) const
{
    std::istringstream parts(commands);
    std::string command;
    while (std::getline(parts, command, ';'))
        EXPECT_EQ(std::system(("ip " + command).c_str()), 0) << command;
}

bool eventually(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + 200s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

void noteNotRun(const char* reason)
{
    // ctest looks for these words.
    std::printf("Not run: %s\n", reason);
}

NetworkFixture::NetworkFixture()
{
    detail::noteUse();
    if (!space.isOwn())
        return;
    space.ip("link add wire type veth peer name wireEnd;"
             "link add radio type veth peer name radioEnd;"
             "addr add 10.0.0.1/24 dev wire;"
             "addr add 10.0.1.1/24 dev radio;"
             "link set wire up; link set wireEnd up; link set radio up; link set radioEnd up");
    // The kernel takes its time to notice a carrier.
    EXPECT_TRUE(eventually([] { return isRunning("wire") && isRunning("radio"); }));
    playLink("radio", "uevent", "DEVTYPE=wwan\nINTERFACE=radio\n");
}

bool NetworkFixture::canChange() const
{
    if (space.isOwn())
        return true;
    const char* mayDoWithout = std::getenv("TELVORA_NO_NAMESPACES");
    if (mayDoWithout && mayDoWithout == std::string("1")) {
        noteNotRun("this machine refuses network namespaces");
    } else {
        ADD_FAILURE() << "This case needs a network namespace (root, or unprivileged user "
                         "namespaces, and iproute2). TELVORA_NO_NAMESPACES=1 does without.";
    }
    return false;
}

void NetworkFixture::change(Connection connection)
{
    const auto last = make();
    if (last->connection() == connection)
        return;

    // Listeners are called in the order of their registration, so this one is the last.
    bool isTold = false;
    const auto hear = [&](Connection now) { isTold = isTold || now == connection; };
    last->setWhenReachable(hear);
    last->setWhenUnreachable(hear);
    EXPECT_TRUE(last->startNotifier());
    switch (connection) {
    case Connection::none:
        space.ip("route del default");
        break;
    case Connection::wifi:
        space.ip("route replace default via 10.0.0.2 dev wire");
        break;
    case Connection::cellular:
        space.ip("route replace default via 10.0.1.2 dev radio");
        break;
    }
    EXPECT_TRUE(eventually([&] {
        runMain();
        return isTold;
    }));
}

std::unique_ptr<Reachability> NetworkFixture::make()
{
    return reachability.makeReachability(ReachabilityService::Use::held);
}

bool NetworkFixture::becomes(Connection connection)
{
    const auto object = make();
    return eventually([&] {
        runMain();
        return object->connection() == connection;
    });
}

void NetworkFixture::playLink(
    const std::string& name, const std::string& file, const std::string& text)
{
    tree.write("/sys/class/net/" + name + "/" + file, text);
}

} // namespace telvora::detail
