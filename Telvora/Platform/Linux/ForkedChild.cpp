#include <Telvora/Platform/Linux/ForkedChild.h>

#include <pthread.h>

namespace telvora {

void watchForForks()
{
    [[maybe_unused]] static const int isRegistered = ::pthread_atfork(
        &detail::beforeFork, &detail::afterForkInParent, &detail::afterForkInChild);
}

} // namespace telvora
