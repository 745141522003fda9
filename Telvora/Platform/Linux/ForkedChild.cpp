#include <Telvora/Platform/Linux/ForkedChild.h>

#include <atomic>

#include <pthread.h>

namespace telvora {

namespace {

std::atomic<bool> s_isForkedChild { false };

void markChild()
{
    s_isForkedChild.store(true, std::memory_order_relaxed);
}

} // namespace

bool isForkedChild() noexcept
{
    return s_isForkedChild.load(std::memory_order_relaxed);
}

void watchForForks()
{
    [[maybe_unused]] static const int isRegistered = ::pthread_atfork(nullptr, nullptr, markChild);
}

} // namespace telvora
