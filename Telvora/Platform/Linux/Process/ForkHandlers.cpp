#include <Telvora/Platform/Linux/Process/ForkHandlers.h>

#include <Telvora/Base/ForkedChild.h>

#include <pthread.h>

namespace telvora::detail {

void installForkHandlers()
{
    // The child has its parent's handlers.
    if (isForkedChild())
        return;
    [[maybe_unused]] static const int isRegistered
        = ::pthread_atfork(&beforeFork, &afterForkInParent, &afterForkInChild);
}

} // namespace telvora::detail
