#include <pthread.h>

// A child that is forked while another thread allocates would find the sanitizer's locks taken for
// ever, and hang at its next allocation. Later versions of the sanitizer take them before a fork,
// as this does.

namespace __lsan { // NOLINT(bugprone-reserved-identifier): the sanitizer's own.
void LockThreadRegistry();
void UnlockThreadRegistry();
void LockAllocator();
void UnlockAllocator();
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
    pthread_atfork(lockSanitizer, unlockSanitizer, unlockSanitizer);
}

} // namespace
