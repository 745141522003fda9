#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Platform/Linux/Process/ForkHandlers.h>

#include <memory>
#include <new>
#include <utility>

#include <pthread.h>
#include <signal.h>

namespace telvora::detail {

namespace {

struct Start {
    const char* name;
    Work body;
};

void* run(void* argument)
{
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    ::pthread_setname_np(::pthread_self(), start->name);
    try {
        start->body();
    } catch (...) {
        // No caller waits for the thread, so the exception has no receiver.
    }
    return nullptr;
}

} // namespace

bool startDetachedThread(const char* name, Work body)
{
    if (isForkedChild())
        return false;
    installForkHandlers();
    noteUse();
    std::unique_ptr<Start> start(new (std::nothrow) Start { name, std::move(body) });
    if (!start)
        return false;

    pthread_attr_t attributes;
    if (::pthread_attr_init(&attributes) != 0)
        return false;
    ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);

    // A new thread inherits this thread's mask, so it never runs with a signal unblocked.
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    const bool isStarted = ::pthread_create(&thread, &attributes, run, start.get()) == 0;
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);

    ::pthread_attr_destroy(&attributes);
    if (isStarted)
        static_cast<void>(start.release());
    return isStarted;
}

} // namespace telvora::detail
