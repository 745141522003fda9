#include <Telvora/Base/Encoder.h>
#include <Telvora/Classes/Utils/Batch.h>
#include <Telvora/Classes/Utils/CommonData.h>
#include <Telvora/Classes/Utils/EventList.h>
#include <tests/InThreads.h>

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace telvora {
namespace {

std::shared_ptr<const detail::EncodedCommonData> commonData()
{
    return std::make_shared<const detail::EncodedCommonData>(TrackerCommonData());
}

void append(detail::EventList& list, int number)
{
    detail::Encoder encoder(EncodeStyle::compact, detail::NonFinite::refuse);
    Value event { { "n", number } };
    list.append(std::move(event), detail::encodeEvent(event, encoder));
}

TEST(BatchStressTest, ThreadsThatLookAtTheSameTimeSeeTheSameDictionary)
{
    detail::EventList list;
    append(list, 1);
    for (int round = 0; round < 100; ++round) {
        const Batch batch = detail::makeTextBatch(commonData(), list);
        std::vector<const Dictionary*> seen(4);
        inThreads(4, [&](int thread) { seen[static_cast<std::size_t>(thread)] = batch.get(); });

        EXPECT_EQ(seen, std::vector<const Dictionary*>(4, batch.get()));
    }
}

TEST(BatchStressTest, ACopyOfAListIsReadWhileTheListGrows)
{
    detail::EventList list;
    for (int count = 0; count < 20; ++count)
        append(list, count);
    const detail::EventList copied = list;
    inThreads(2, [&](int thread) {
        for (int count = 0; count < 1000; ++count) {
            if (thread == 0) {
                append(list, count);
            } else if (count % 50 == 0) {
                EXPECT_EQ(copied.decoded().size(), 20u);
            }
        }
    });

    EXPECT_EQ(list.size(), 1020u);
}

} // namespace
} // namespace telvora
