#include <Telvora/Classes/PendingEvents.h>

#include <Telvora/Base/Encoder.h>
#include <Telvora/Classes/Utils/CommonData.h>

#include <gtest/gtest.h>

namespace telvora::detail {
namespace {

class PendingEventsTest : public testing::Test {
protected:
    static Dictionary event(int number) { return { { "n", number } }; }

    AppendedEvent append(Dictionary event)
    {
        Value value(std::move(event));
        const EncodedEvent encoded = encodeEvent(value, m_encoder);
        return pending.append(std::move(value), encoded);
    }

    Batch makeBatch(std::string dataListKey = "data") const
    {
        return pending.batch(std::make_shared<const EncodedCommonData>(
            TrackerCommonData { {}, std::move(dataListKey) }));
    }

    PendingEvents pending { { event(1) } };

private:
    Encoder m_encoder { EncodeStyle::compact, NonFinite::refuse };
};

TEST_F(PendingEventsTest, AnAppendedEventStandsBehindTheFirstOnes)
{
    EXPECT_EQ(append(event(2)).size, 2u);
    EXPECT_EQ(append(event(3)).size, 3u);

    EXPECT_EQ(pending.shown(), (Array { event(1), event(2), event(3) }));
    EXPECT_EQ(pending.size(), 3u);
}

TEST_F(PendingEventsTest, OnlyAnEventThatIsKeptAsATreeIsTaken)
{
    EXPECT_EQ(append(event(2)).whole, nullptr);
    const auto whole = append({ { "n", "\xFF" } }).whole;

    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(**whole, Value({ { "n", "\xFF" } }));
}

TEST_F(PendingEventsTest, ABatchContainsAllEventsAndLeavesThem)
{
    append(event(2));

    EXPECT_EQ(*makeBatch(), (Dictionary { { "data", { event(1), event(2) } } }));
    EXPECT_EQ(pending.size(), 2u);
}

TEST_F(PendingEventsTest, TheEventsOfALeavingBatchAreShownUntilItHasLeft)
{
    append(event(2));
    EXPECT_EQ(pending.beginSending(makeBatch("its own key")), 2u);

    EXPECT_EQ(pending.size(), 0u);
    EXPECT_EQ(pending.shown(), (Array { event(1), event(2) }));
    pending.finishSending();
    EXPECT_EQ(pending.shown(), Array());
}

TEST_F(PendingEventsTest, ACopyCountsAnEventAsNewOnce)
{
    append(event(2));
    EXPECT_EQ(pending.copyAll().newEvents, 2u);
    append(event(3));

    const PendingEvents::Copied copied = pending.copyAll();
    EXPECT_EQ(copied.newEvents, 1u);
    EXPECT_EQ(copied.events.decoded(), (Array { event(1), event(2), event(3) }));
}

TEST_F(PendingEventsTest, EventsOfACopyAreNotNewInABatch)
{
    pending.copyAll();
    append(event(2));

    EXPECT_EQ(pending.beginSending(makeBatch()), 1u);
    EXPECT_EQ(pending.copyAll().newEvents, 0u);
}

TEST_F(PendingEventsTest, ClearingReturnsHowManyEventsNoCopyContained)
{
    pending.copyAll();
    append(event(2));
    append(event(3));

    EXPECT_EQ(pending.clear(), 2u);
    EXPECT_EQ(pending.size(), 0u);
    EXPECT_EQ(pending.clear(), 0u);
}

} // namespace
} // namespace telvora::detail
