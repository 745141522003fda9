#include <Telvora/Platform/Linux/LinuxDispatch.h>

#include <tests/Platform/DispatchContract.h>

#include <gtest/gtest.h>

#include <thread>

namespace telvora {
namespace {

class LinuxSubject {
public:
    Dispatch& dispatch() { return m_dispatch; }

    void settle()
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        ASSERT_TRUE(m_dispatch.waitUntilIdle(deadline));
    }

    void pass(std::chrono::milliseconds time)
    {
        std::this_thread::sleep_for(time);
        settle();
    }

private:
    LinuxDispatch m_dispatch;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, DispatchContract, LinuxSubject);

} // namespace
} // namespace telvora
