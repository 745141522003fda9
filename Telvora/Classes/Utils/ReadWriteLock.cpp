#include <Telvora/Classes/Utils/ReadWriteLock.h>

#include <Telvora/Platform/Platform.h>

namespace telvora {

ReadWriteLock::ReadWriteLock()
    : m_queue(platform().dispatch.makeConcurrentQueue("com.quorvex.rwlock"))
{
}

} // namespace telvora
