#include <Telvora/Base/AnyDepth.h>

#include <tests/Base/JSONTesting.h>
#include <tests/Classes/SimulatedHost.h>

#include <functional>

// Each operation copies and destroys a host's value of any depth without recursion.

namespace telvora {
namespace {

constexpr std::size_t levels = 100'000;

detail::AnyDepth<Dictionary> deepValue()
{
    return detail::AnyDepth<Dictionary>(deepDictionary(levels));
}

struct EventOperation {
    std::string name;
    std::function<void(const Dictionary&)> call;
};

// Shown in the name of a case.
std::ostream& operator<<(std::ostream& out, const EventOperation& operation)
{
    return out << operation.name;
}

TrackerManager& manager()
{
    return TrackerManager::shared();
}

void enrollRecord(const Dictionary& deep)
{
    TrackerMeta record(TrackerMeta::T("x"));
    record.extra = copy(deep);
    manager().enrollAPMReport(record);
    EXPECT_TRUE(record.extra->contains("in"));
    dispose(std::move(*record.extra));
}

const std::vector<EventOperation> eventOperations {
    { "appendTracker", [](const Dictionary& deep) { manager().appendTracker(deep, "APM"); } },
    { "enrollE2ETrack", [](const Dictionary& deep) { manager().enrollE2ETrack(deep); } },
    { "enrollMPTrack", [](const Dictionary& deep) { manager().enrollMPTrack(deep); } },
    { "enrollSentryTrack",
        [](const Dictionary& deep) { manager().enrollSentryTrack(deep, false); } },
    { "reportAPMDict", [](const Dictionary& deep) { manager().reportAPMDict(deep); } },
    { "wrapAppendTracker", [](const Dictionary& deep) { manager().wrapAppendTracker(deep); } },
    { "enrollAPMReport", enrollRecord },
};

class DeepEventTest : public SimulatedHost, public testing::WithParamInterface<EventOperation> { };

TEST_P(DeepEventTest, ADictionaryOfAnyDepthArrivesAndTheHostsCopyStays)
{
    const detail::AnyDepth<Dictionary> deep = deepValue();
    int arrived = 0;
    TrackerManager::setTriggerCallback([&](const Dictionary& event, const std::string&) {
        const Value* extra = event.if_contains("extra");
        arrived += (extra ? extra->as_object() : event).contains("in");
    });

    GetParam().call(*deep);
    simulated().runUntilIdle();

    EXPECT_EQ(arrived, 1);
    EXPECT_TRUE(deep->contains("in"));
}

INSTANTIATE_TEST_SUITE_P(Operations, DeepEventTest, testing::ValuesIn(eventOperations),
    [](const auto& operation) { return operation.param.name; });

class DeepValueTest : public SimulatedHost { };

TEST_F(DeepValueTest, AReportOfAnyDepthReachesAProvider)
{
    addChannel("APM");
    const auto provider = installProvider();
    const detail::AnyDepth<Dictionary> deep = deepValue();

    manager().reportAPMDict(*deep);

    ASSERT_EQ(provider->contents.size(), 1u);
    EXPECT_TRUE(deep->contains("in"));
}

TEST_F(DeepValueTest, ARecordOfAnyDepthReachesAProvider)
{
    addChannel("APM");
    const auto provider = installProvider();
    const detail::AnyDepth<Dictionary> deep = deepValue();

    enrollRecord(*deep);

    ASSERT_EQ(provider->contents.size(), 1u);
}

TEST_F(DeepValueTest, TheManagerCopiesCommonDataOfAnyDepth)
{
    const auto config = addChannel("APM");
    const detail::AnyDepth<Dictionary> deep = deepValue();

    manager().setupCommonDatas(*deep, "data", "APM");
    manager().setupCommonDatas(*deep, "data", "nowhere");

    EXPECT_TRUE(config->commonData()->commonDatas.contains("in"));
    EXPECT_TRUE(deep->contains("in"));
}

TEST_F(DeepValueTest, TheChannelCopiesCommonDataOfAnyDepth)
{
    TrackerConfig config("APM", 1);
    TrackerCommonData deep { deepDictionary(levels), "data" };

    config.setCommonData(deep);

    EXPECT_TRUE(config.commonData()->commonDatas.contains("in"));
    EXPECT_TRUE(deep.commonDatas.contains("in"));
    dispose(std::move(deep.commonDatas));
}

TEST_F(DeepValueTest, TheChannelCopiesEventsOfAnyDepth)
{
    detail::AnyDepth<Array> events;
    events->push_back(deepDictionary(levels));

    const auto config = std::make_shared<TrackerConfig>("APM", 7, StringDictionary(), *events);

    const detail::AnyDepth<Array> pending(config->apiDatas());
    ASSERT_EQ(pending->size(), 1u);
    EXPECT_TRUE((*pending)[0].as_object().contains("in"));
    EXPECT_EQ(events->size(), 1u);
}

TEST_F(DeepValueTest, ADictionaryOfAnyDepthIsCopiedIntoABatch)
{
    const detail::AnyDepth<Dictionary> deep = deepValue();

    const Batch batch = makeBatch(*deep);

    EXPECT_TRUE(batch->contains("in"));
    EXPECT_TRUE(deep->contains("in"));
}

} // namespace
} // namespace telvora
