#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace telvora {

/// Set in a child, where the leak check is off: memory that only a thread of the parent refers to
/// looks lost there.
inline bool s_isChildOfTest = false;

/// Runs `body` in a forked child, which then calls exit(). A child that still runs after
/// `limitSeconds` is killed by a signal.
template<typename Body> pid_t startChild(Body body, unsigned limitSeconds = 120)
{
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        s_isChildOfTest = true;
        ::alarm(limitSeconds);
        body();
        std::exit(0);
    }
    return child;
}

/// Waits for the child and returns how it ended: "exited STATUS" or "signal NUMBER".
inline std::string endOf(pid_t child)
{
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? "exited " + std::to_string(WEXITSTATUS(status))
                             : "signal " + std::to_string(WTERMSIG(status));
}

/// Runs `body` in a forked child and returns how the child ended.
template<typename Body> std::string endOfChild(Body body)
{
    return endOf(startChild(std::move(body)));
}

} // namespace telvora

// Called by the sanitizers in their builds. Children of tests start threads after a fork, and the
// default wait of a second at the end of each child would take too long.
extern "C" [[gnu::used]] inline const char* __tsan_default_options()
{
    return "die_after_fork=0:atexit_sleep_ms=50";
}
extern "C" [[gnu::used]] inline int __lsan_is_turned_off()
{
    return telvora::s_isChildOfTest;
}
