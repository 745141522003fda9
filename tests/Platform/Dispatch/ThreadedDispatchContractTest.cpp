#include <tests/Platform/Dispatch/RealDispatch.h>
#include <tests/Platform/DispatchContract.h>

#include <gtest/gtest.h>

#include <thread>

namespace telvora {
namespace {

class ThreadedSubject {
public:
    Dispatch& dispatch() { return m_dispatch; }
    void settle() { m_dispatch.settle(); }

    void pass(std::chrono::milliseconds time)
    {
        std::this_thread::sleep_for(time);
        settle();
    }

private:
    RealDispatch m_dispatch;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Threaded, DispatchContract, ThreadedSubject);

} // namespace
} // namespace telvora
