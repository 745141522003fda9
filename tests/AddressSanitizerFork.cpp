#include <pthread.h>

// A child that is forked while another thread allocates would find the sanitizer's locks taken for
// ever, and hang at its next allocation. clang 19's sanitizer takes its locks before a fork; for
// older ones this does. The functions are the sanitizer's own, and another version may lack them:
// a weak one is then null.

namespace __asan { // NOLINT(bugprone-reserved-identifier)
__attribute__((weak)) void InstallAtForkHandler();
} // namespace __asan

namespace __lsan { // NOLINT(bugprone-reserved-identifier)
__attribute__((weak)) void LockThreadRegistry();
__attribute__((weak)) void UnlockThreadRegistry();
__attribute__((weak)) void LockAllocator();
__attribute__((weak)) void UnlockAllocator();
} // namespace __lsan

namespace {

void lockSanitizer()
{
    __lsan::LockThreadRegistry();
    __lsan::LockAllocator();
}

void unlockSanitizer()
{
    __lsan::UnlockAllocator();
    __lsan::UnlockThreadRegistry();
}

// Before all other handlers of a fork, which may allocate: those that are registered first are
// called last before it and first after it.
__attribute__((constructor(101))) void registerForkHandlers()
{
    const bool takesItsLocksItself = __asan::InstallAtForkHandler != nullptr;
    const bool isComplete = __lsan::LockThreadRegistry && __lsan::UnlockThreadRegistry
        && __lsan::LockAllocator && __lsan::UnlockAllocator;
    if (!takesItsLocksItself && isComplete)
        pthread_atfork(lockSanitizer, unlockSanitizer, unlockSanitizer);
}

} // namespace
