#include <tools/host/Output.h>

#include <gtest/gtest.h>

#include <optional>
#include <thread>

namespace telvora::tests {

namespace {

using host::Output;

void tellFromAnotherThread(Output& output, const char* name)
{
    std::thread([&] { output.writeEvent({ { "event", name } }); }).join();
}

} // namespace

TEST(HostOutputTest, EventsOfOtherThreadsComeAfterTheReplyOfTheLine)
{
    Output output;
    testing::internal::CaptureStdout();
    {
        const Output::Precedence precedence(output);
        tellFromAnotherThread(output, "other");
        output.writeReply({ { "reply", "inner" } });
        output.writeReply({ { "reply", "outer" } });
    }
    tellFromAnotherThread(output, "later");

    EXPECT_EQ(testing::internal::GetCapturedStdout(),
        "{\"reply\":\"inner\"}\n{\"reply\":\"outer\"}\n"
        "{\"event\":\"other\"}\n{\"event\":\"later\"}\n");
}

TEST(HostOutputTest, EventsStayInTheOrderInWhichTheyHappened)
{
    Output output;
    testing::internal::CaptureStdout();
    {
        const Output::Precedence precedence(output);
        tellFromAnotherThread(output, "first");
        output.writeEvent({ { "event", "second" } });
        tellFromAnotherThread(output, "third");
        output.writeReply({ { "reply", "line" } });
    }

    EXPECT_EQ(testing::internal::GetCapturedStdout(),
        "{\"event\":\"first\"}\n{\"event\":\"second\"}\n"
        "{\"reply\":\"line\"}\n{\"event\":\"third\"}\n");
}

TEST(HostOutputTest, KeptBackLinesAreWrittenBeforeTheProcessEnds)
{
    Output output;
    testing::internal::CaptureStdout();
    const Output::Precedence precedence(output);

    std::thread([&] {
        output.writeEvent({ { "event", "kept" } });
        output.writeKeptBack();
        output.writeEvent({ { "event", "at once" } });
    }).join();

    EXPECT_EQ(
        testing::internal::GetCapturedStdout(), "{\"event\":\"kept\"}\n{\"event\":\"at once\"}\n");
}

} // namespace telvora::tests
