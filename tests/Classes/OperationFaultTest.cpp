#include <tests/Classes/AllocationFault.h>

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Classes/Diagnostics.h>
#include <Telvora/Classes/TrackerManager.h>
#include <tests/Base/JSONTesting.h>
#include <tests/Classes/ImmediatePlatform.h>
#include <tests/Classes/SimulatedHost.h>

#include <gtest/gtest.h>

#include <functional>

// Each allocation of an operation fails once. Nothing is thrown, and the ledger of the channel
// counts the event, as pending or as an internal error.

namespace telvora {
namespace {

struct Operation {
    std::string name;
    std::string index;
    std::function<void(const Dictionary&)> call;
};

std::ostream& operator<<(std::ostream& out, const Operation& operation)
{
    return out << operation.name;
}

TrackerManager& manager()
{
    return TrackerManager::shared();
}

void enrollRecord(const Dictionary&)
{
    static TrackerMeta& record = *new TrackerMeta(TrackerMeta::T("a type that needs memory"));
    manager().enrollAPMReport(record);
}

const std::vector<Operation> operations {
    { "appendTracker", "MP",
        [](const Dictionary& event) { manager().appendTracker(event, "MP"); } },
    { "enrollE2ETrack", "E2E", [](const Dictionary& event) { manager().enrollE2ETrack(event); } },
    { "enrollMPTrack", "MP", [](const Dictionary& event) { manager().enrollMPTrack(event); } },
    { "enrollSentryTrack", "Sentry",
        [](const Dictionary& event) { manager().enrollSentryTrack(event, false); } },
    { "reportAPMDict", "APM", [](const Dictionary& event) { manager().reportAPMDict(event); } },
    { "wrapAppendTracker", "APM",
        [](const Dictionary& event) { manager().wrapAppendTracker(event); } },
    { "enrollAPMReport", "APM", enrollRecord },
};

class OperationFaultTest : public testing::TestWithParam<Operation> {
protected:
    OperationFaultTest()
    {
        immediate();
        for (const char* index : { "APM", "MP", "E2E", "Sentry" })
            manager().register_(std::make_shared<TrackerConfig>(index, 1'000'000));
    }

    // False when the operation made fewer allocations.
    bool callWithout(int spared)
    {
        const AllocationFault fault(spared);
        GetParam().call(event);
        return fault.hasStruck();
    }

    const Dictionary event { { "cs", "long enough to need memory of its own" },
        { "extra", { { "a", 1 } } } };
};

INSTANTIATE_TEST_SUITE_P(Operations, OperationFaultTest, testing::ValuesIn(operations),
    [](const auto& operation) { return operation.param.name; });

TEST_P(OperationFaultTest, ThrowsNothingAndCountsTheEventWhicheverAllocationFails)
{
    GetParam().call(event);
    for (int spared = 0;; ++spared) {
        const LedgerAccount before = manager().ledger(GetParam().index)->events;

        const bool hasStruck = callWithout(spared);

        const LedgerAccount after = manager().ledger(GetParam().index)->events;
        ASSERT_EQ(after.accepted, before.accepted + 1) << "with allocation " << spared;
        ASSERT_EQ(after.pending + after.dropped.internalError,
            before.pending + before.dropped.internalError + 1);
        if (!hasStruck)
            return;
    }
}

// The dictionary that the closure sees is read from text.
TEST(TriggerFaultTest, ARecordCountsAlsoIfTheClosureCannotSeeIt)
{
    immediate();
    manager().register_(std::make_shared<TrackerConfig>("APM", 1'000'000));
    int seen = 0;
    TrackerManager::setTriggerCallback([&](const Dictionary&, const std::string&) { ++seen; });
    enrollRecord({});
    ASSERT_EQ(seen, 1);

    bool wasMissed = false;
    for (int spared = 0;; ++spared) {
        const LedgerAccount before = manager().ledger("APM")->events;
        const int seenBefore = seen;
        bool hasStruck = false;
        {
            const AllocationFault fault(spared);
            enrollRecord({});
            hasStruck = fault.hasStruck();
        }

        const LedgerAccount after = manager().ledger("APM")->events;
        ASSERT_EQ(after.accepted, before.accepted + 1) << "with allocation " << spared;
        wasMissed = wasMissed || (seen == seenBefore && after.pending > before.pending);
        if (!hasStruck)
            break;
    }
    EXPECT_TRUE(wasMissed);
    TrackerManager::setTriggerCallback({});
}

// A deep value that is destroyed because there is no memory for its key must not recurse.
TEST(RecordFaultTest, ADeepRecordMayFailToBecomeADictionary)
{
    immediate();
    for (int spared = 0;; ++spared) {
        TrackerMeta record(TrackerMeta::T("a type that needs memory"));
        record.extra = deepDictionary(100'000);
        bool hasStruck = false;
        try {
            const AllocationFault fault(spared);
            detail::AnyDepth<Dictionary> dictionary(std::move(record).asDictionary());
            hasStruck = fault.hasStruck();
        } catch (const std::bad_alloc&) {
            hasStruck = true;
        }

        dispose(std::move(*record.extra));
        if (!hasStruck)
            return;
    }
}

// What could not be told must not keep what follows from being told.
TEST(DiagnosticsFaultTest, ALackOfMemorySilencesNoChannelForEver)
{
    simulated();
    int told = 0;
    TrackerManager::setDiagnosticsHandler([&](const Diagnostic&) { ++told; });

    for (int spared = 0;; ++spared) {
        const std::string index = "a channel that nobody knows " + std::to_string(spared);
        bool hasStruck = false;
        {
            const AllocationFault fault(spared);
            detail::Diagnostics::eventsDropped(index, DropReason::unknownChannel, 1);
            hasStruck = fault.hasStruck();
        }
        const int before = told;
        detail::Diagnostics::eventsDropped(index, DropReason::unknownChannel, 1);
        simulated().advance(std::chrono::seconds(2));
        EXPECT_EQ(told, before + 1) << "with allocation " << spared;
        if (!hasStruck)
            break;
    }
    TrackerManager::setDiagnosticsHandler({});
}

class CountingProvider : public QVXOstraProviderProtocol {
public:
    void report(const std::string&, const std::string&) override { ++count; }

    int count = 0;
};

TEST(ProviderFaultTest, ARecordIsHandedOverOrCountedWhicheverAllocationFails)
{
    immediate();
    manager().register_(std::make_shared<TrackerConfig>("APM", 1'000'000));
    const auto provider = std::make_shared<CountingProvider>();
    manager().setupOstra(provider);
    enrollRecord({});
    ASSERT_EQ(provider->count, 1);

    for (int spared = 0;; ++spared) {
        const auto counted = [&] {
            return provider->count + manager().ledger("APM")->events.dropped.internalError;
        };
        const auto before = counted();
        bool hasStruck = false;
        {
            const AllocationFault fault(spared);
            enrollRecord({});
            hasStruck = fault.hasStruck();
        }

        ASSERT_EQ(counted(), before + 1) << "with allocation " << spared;
        if (!hasStruck)
            return;
    }
}

} // namespace
} // namespace telvora
