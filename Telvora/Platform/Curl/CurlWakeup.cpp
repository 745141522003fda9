#include <Telvora/Platform/Curl/CurlWakeup.h>

#include <dirent.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <exception>
#include <iterator>
#include <memory>
#include <vector>

namespace telvora::detail {

namespace {

int socketOption(int descriptor, int name)
{
    int value = -1;
    socklen_t size = sizeof(value);
    return ::getsockopt(descriptor, SOL_SOCKET, name, &value, &size) == 0 ? value : -1;
}

// The answer of the ioctl `what`; -1 if the descriptor does not support it.
int byteCount(int descriptor, unsigned long what)
{
    int bytes = -1;
    return ::ioctl(descriptor, what, &bytes) == 0 ? bytes : -1;
}

struct Candidate {
    int descriptor;
    int unread;
    int inTransit;
    bool mayBeRead = true;
    bool mayBeWritten = true;

    int unreadNow() const { return byteCount(descriptor, FIONREAD); }
    int inTransitNow() const { return byteCount(descriptor, SIOCOUTQ); }

    // Compares with the numbers before `multi` was woken `times` times.
    void compare(int times)
    {
        const int unreadAfter = unreadNow();
        const int inTransitAfter = inTransitNow();
        mayBeRead = mayBeRead && unreadAfter == unread + times && inTransitAfter == 0;
        mayBeWritten = mayBeWritten && inTransitAfter > inTransit && unreadAfter == 0;
        unread = unreadAfter;
        inTransit = inTransitAfter;
    }
};

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};

std::vector<Candidate> candidates()
{
    std::vector<Candidate> found;
    const std::unique_ptr<DIR, FolderCloser> open(opendir("/proc/self/fd"));
    while (const dirent* entry = open ? readdir(open.get()) : nullptr) {
        int descriptor = -1;
        std::from_chars(entry->d_name, std::end(entry->d_name), descriptor);
        if (socketOption(descriptor, SO_DOMAIN) != AF_UNIX
            || socketOption(descriptor, SO_TYPE) != SOCK_STREAM
            || ::fcntl(descriptor, F_GETFD) != 0)
            continue;
        Candidate candidate { descriptor, 0, 0 };
        candidate.unread = candidate.unreadNow();
        candidate.inTransit = candidate.inTransitNow();
        found.push_back(candidate);
    }
    return found;
}

} // namespace

void closeWakeupOnExec(CURLM* multi) noexcept
try {
    std::vector<Candidate> all = candidates();
    for (int times : { 1, 3, 2, 5, 4 }) {
        for (int time = 0; time < times; ++time)
            curl_multi_wakeup(multi);
        for (Candidate& candidate : all)
            candidate.compare(times);
    }
    std::erase_if(all,
        [](const Candidate& candidate) { return !candidate.mayBeRead && !candidate.mayBeWritten; });
    // Makes libcurl read the bytes.
    curl_multi_poll(multi, nullptr, 0, 0, nullptr);
    const bool isPair = all.size() == 2 && all[0].mayBeRead != all[1].mayBeRead;
    const bool isEmpty = std::ranges::all_of(all, [](const Candidate& candidate) {
        return candidate.unreadNow() == 0 && candidate.inTransitNow() == 0;
    });
    if (!isPair || !isEmpty)
        return;
    for (const Candidate& candidate : all)
        ::fcntl(candidate.descriptor, F_SETFD, FD_CLOEXEC);
} catch (const std::exception&) {
    // The sockets stay inheritable: a program that the host starts gets two unknown descriptors.
}

} // namespace telvora::detail
