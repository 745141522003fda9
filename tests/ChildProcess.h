#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace telvora {

/// Set in a child: there, what only a thread of the parent pointed to looks lost, and exit() in
/// the middle of everything is what a case is about.
inline bool s_isChildOfTest = false;

/// Runs `body` in a forked child, which then ends by exit(). A child that hangs is ended by a
/// signal.
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

/// "exited 0", or what else became of the child.
inline std::string endOf(pid_t child)
{
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? "exited " + std::to_string(WEXITSTATUS(status))
                             : "signal " + std::to_string(WTERMSIG(status));
}

template<typename Body> std::string endOfChild(Body body)
{
    return endOf(startChild(std::move(body)));
}

} // namespace telvora

// Read by the sanitizers where they are built in. Children here start threads after a fork, and
// there are too many of them to linger for a second each.
extern "C" [[gnu::used]] inline const char* __tsan_default_options()
{
    return "die_after_fork=0:atexit_sleep_ms=50";
}
extern "C" [[gnu::used]] inline int __lsan_is_turned_off()
{
    return telvora::s_isChildOfTest;
}
