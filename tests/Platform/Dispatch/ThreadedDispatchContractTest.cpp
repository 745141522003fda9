#include <tests/Platform/Dispatch/RealDispatch.h>
#include <tests/Platform/DispatchContract.h>
#include <tests/Platform/DispatchMisuseContract.h>
#include <tests/Platform/TimerSourceContract.h>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace telvora {
namespace {

class ThreadedSubject {
public:
    Dispatch& dispatch() { return m_dispatch; }
    std::chrono::steady_clock::time_point now() { return std::chrono::steady_clock::now(); }
    void settle() { m_dispatch.settle(); }

    void pass(std::chrono::milliseconds time)
    {
        std::this_thread::sleep_for(time);
        settle();
    }

    void passUntil(FunctionRef<bool()> condition)
    {
        while (!condition())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

private:
    RealDispatch m_dispatch;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Threaded, DispatchContract, ThreadedSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(Threaded, DispatchContractDeathTest, ThreadedSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(Threaded, TimerSourceContract, ThreadedSubject);

} // namespace
} // namespace telvora
