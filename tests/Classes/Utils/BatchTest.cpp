#include <Telvora/Classes/Utils/Batch.h>

#include <Telvora/Classes/Utils/CommonData.h>
#include <Telvora/Classes/Utils/EventList.h>

#include <tests/Base/JSONTesting.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace telvora {
namespace {

class BatchTest : public testing::Test {
protected:
    static constexpr double infinity = std::numeric_limits<double>::infinity();

    static Batch makeText(
        Dictionary commonDatas, const Array& events, std::string dataListKey = "data")
    {
        detail::Encoder encoder(EncodeStyle::compact, detail::NonFinite::refuse);
        detail::EventList list;
        for (const Value& event : events)
            list.append(Value(event), detail::encodeEvent(event, encoder));
        return detail::makeTextBatch(std::make_shared<const detail::EncodedCommonData>(
                                         TrackerCommonData { commonDatas, dataListKey }),
            list);
    }
};

TEST_F(BatchTest, BatchesOfOneDictionaryAreEqual)
{
    const auto given = std::make_shared<const Dictionary>(Dictionary { { "n", 1 } });
    const Batch first = given;
    const Batch second = given;
    const std::shared_ptr<const Dictionary> again = first;

    EXPECT_TRUE(first == second);
    EXPECT_TRUE(first == given);
    EXPECT_EQ(again, given);
    EXPECT_FALSE(first == Batch(std::make_shared<const Dictionary>(*given)));
    EXPECT_FALSE(first == nullptr);
}

TEST_F(BatchTest, ABatchOfTextIsEqualToItselfAlone)
{
    const Batch first = makeText({}, {});

    EXPECT_TRUE(first == Batch(first));
    EXPECT_FALSE(first == makeText({}, {}));
    const std::shared_ptr<const Dictionary> shared = first;
    EXPECT_EQ(shared.get(), first.get());
}

TEST_F(BatchTest, ANullBatchHasNothing)
{
    const Batch batch;

    EXPECT_FALSE(batch);
    EXPECT_EQ(batch, nullptr);
    EXPECT_EQ(batch.get(), nullptr);
    EXPECT_EQ(batch.encoded(), std::nullopt);
    EXPECT_EQ(detail::eventsUnder("data", batch), 0u);
    EXPECT_EQ(Batch(std::shared_ptr<const Dictionary>()), nullptr);
}

TEST_F(BatchTest, ADictionaryThatIsGivenIsKept)
{
    const auto dictionary = std::make_shared<Dictionary>(Dictionary { { "a", 1 } });
    const Batch batch = dictionary;

    EXPECT_EQ(batch.get(), dictionary.get());
    EXPECT_EQ(batch.encoded(), R"({"a":1})");
}

TEST_F(BatchTest, ATextIsTheCommonDataAroundTheEvents)
{
    const Batch batch
        = makeText({ { "a", 1 }, { "data", 2 }, { "b", 3 } }, { { { "n", 1 } }, { { "n", 2 } } });

    EXPECT_EQ(batch.encoded(), R"({"a":1,"data":[{"n":1},{"n":2}],"b":3})");
    EXPECT_EQ(*batch,
        (Dictionary { { "a", 1 }, { "data", { { { "n", 1 } }, { { "n", 2 } } } }, { "b", 3 } }));
    EXPECT_EQ(encode(*batch), batch.encoded()->view());
}

TEST_F(BatchTest, TheDictionaryIsTheSameAtEachLook)
{
    const Batch batch = makeText({}, { { { "n", 1 } } });
    const Batch copied = batch;

    EXPECT_EQ(batch.get(), batch.get());
    EXPECT_EQ(copied.get(), batch.get());
    EXPECT_EQ(copied, batch);
    EXPECT_NE(makeText({}, { { { "n", 1 } } }), batch);
}

TEST_F(BatchTest, ANumberThatIsNotFiniteLeavesABatchWithoutTextThatCanBeLookedAt)
{
    const Batch byEvent = makeText({ { "a", 1 } }, { { { "n", infinity } }, { { "n", 2 } } });
    EXPECT_EQ(byEvent.encoded(), std::nullopt);
    EXPECT_EQ(*byEvent,
        (Dictionary { { "a", 1 }, { "data", { { { "n", infinity } }, { { "n", 2 } } } } }));

    const Batch byCommonData = makeText({ { "a", infinity } }, { { { "n", 1 } } });
    EXPECT_EQ(byCommonData.encoded(), std::nullopt);
    EXPECT_EQ(*byCommonData, (Dictionary { { "a", infinity }, { "data", { { { "n", 1 } } } } }));
}

TEST_F(BatchTest, TextThatIsNotUTF8IsSeenAsItWasAndSentRepaired)
{
    const Batch batch = makeText({ { "\xFE", 1 }, { "\xFF", 2 } }, { { { "n", "\xFF" } } }, "\xFD");

    EXPECT_EQ(
        *batch, (Dictionary { { "\xFE", 1 }, { "\xFF", 2 }, { "\xFD", { { { "n", "\xFF" } } } } }));
    const std::string replaced = "\"\xEF\xBF\xBD\"";
    EXPECT_EQ(batch.encoded(),
        "{" + replaced + ":1," + replaced + ":2," + replaced + ":[{\"n\":" + replaced + "}]}");
}

TEST_F(BatchTest, ARandomBatchIsTheTextOfItsDictionary)
{
    RandomJSON random(11);
    for (int round = 0; round < 300; ++round) {
        const Dictionary commonDatas = random.dictionary(2);
        // Sometimes a key of the common data.
        const std::string key = commonDatas.empty() || random.below(2) == 0
            ? random.text()
            : std::string(commonDatas.begin()->key());
        Array events;
        for (std::uint64_t left = random.below(5); left > 0; --left)
            events.push_back(random.dictionary(3));
        Dictionary whole = commonDatas;
        whole[key] = events;

        const Batch batch = makeText(commonDatas, events, key);
        EXPECT_EQ(batch.encoded()->view(), encode(whole));
        EXPECT_EQ(*batch, whole);
    }
}

TEST_F(BatchTest, EventsAreCountedUnderAnyKey)
{
    const Batch text = makeText({ { "other", { 1, 2, 3 } }, { "number", 1 } }, { {}, {} });
    const Batch given = makeBatch({ { "data", { 1, 2 } } });

    EXPECT_EQ(detail::eventsUnder("data", text), 2u);
    EXPECT_EQ(detail::eventsUnder("other", text), 3u);
    EXPECT_EQ(detail::eventsUnder("number", text), 0u);
    EXPECT_EQ(detail::eventsUnder("none", text), 0u);
    EXPECT_EQ(detail::eventsUnder("data", given), 2u);
}

} // namespace
} // namespace telvora
