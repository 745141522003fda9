#include <Telvora/Base/OnceValue.h>

#include <Telvora/Base/Fatal.h>
#include <Telvora/Base/HostCall.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace telvora {
namespace {

using detail::OnceValue;

TEST(OnceValueTest, IsComputedByItsFirstReaderOnly)
{
    OnceValue<std::string> value;
    int computed = 0;
    const auto compute = [&] { return std::to_string(++computed); };

    EXPECT_EQ(value.get(compute), "1");
    EXPECT_EQ(value.get(compute), "1");
}

TEST(OnceValueTest, SetReplacesTheComputedValue)
{
    OnceValue<int> value;
    EXPECT_EQ(value.get([] { return 1; }), 1);

    value.set(2);
    value.set(3);

    EXPECT_EQ(value.get([] { return 1; }), 3);
}

TEST(OnceValueTest, AValueThatIsSetFirstIsNeverComputed)
{
    OnceValue<int> value;

    value.set(2);

    EXPECT_EQ(value.get([]() -> int { throw std::logic_error("computed"); }), 2);
}

TEST(OnceValueTest, AComputationThatThrowsIsTriedAgain)
{
    OnceValue<int> value;

    EXPECT_THROW(value.get([]() -> int { throw std::runtime_error("x"); }), std::runtime_error);

    EXPECT_EQ(value.get([] { return 1; }), 1);
}

TEST(HostCallTest, AnExceptionIsCaughtAndCounted)
{
    const auto before = hostExceptionCount();

    EXPECT_EQ(detail::callHost([] {}), detail::HostCall::returned);
    EXPECT_EQ(hostExceptionCount(), before);
    EXPECT_EQ(detail::callHost([] { throw std::runtime_error("x"); }), detail::HostCall::threw);
    EXPECT_EQ(detail::callHost([] { throw 7; }), detail::HostCall::threw);
    EXPECT_EQ(hostExceptionCount(), before + 2);
}

TEST(FatalDeathTest, PrintsMessageAndFileAndAborts)
{
    EXPECT_EXIT(detail::fatal("No way", "Here"), testing::KilledBySignal(SIGABRT),
        "^Fatal error: No way: file Here\n$");
}

} // namespace
} // namespace telvora
