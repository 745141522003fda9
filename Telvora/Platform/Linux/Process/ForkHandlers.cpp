#include <Telvora/Platform/Linux/Process/ForkHandlers.h>

#include <Telvora/Base/ForkedChild.h>

#include <pthread.h>

namespace telvora::detail {

void installForkHandlers()
{
    [[maybe_unused]] static const int isRegistered
        = ::pthread_atfork(&beforeFork, &afterForkInParent, &afterForkInChild);
}

} // namespace telvora::detail
