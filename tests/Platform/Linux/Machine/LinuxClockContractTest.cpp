#include <Telvora/Platform/Linux/Machine/LinuxClock.h>

#include <tests/Platform/ClockContract.h>

#include <gtest/gtest.h>

namespace telvora::detail {
namespace {

class LinuxClockSubject {
public:
    Clock& clock() { return m_clock; }

private:
    LinuxClock m_clock;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, ClockContract, LinuxClockSubject);

} // namespace
} // namespace telvora::detail
