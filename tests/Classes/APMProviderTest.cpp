#include <tests/Base/JSONTesting.h>
#include <tests/Classes/SimulatedHost.h>

#include <Telvora/Base/HostCall.h>

#include <gmock/gmock.h>

#include <limits>

namespace telvora {
namespace {

using testing::ElementsAre;
using testing::StartsWith;
using namespace std::string_view_literals;

class APMProviderTest : public SimulatedHost {
protected:
    APMProviderTest() { watchEvents(); }

    static void report(Dictionary dict) { manager().wrapAppendTracker(std::move(dict)); }

    std::size_t eventCount()
    {
        simulated().runUntilIdle();
        return seen.size();
    }
};
using APMProviderQuirk = APMProviderTest;

TEST_F(APMProviderTest, AReportIsHandedToTheProviderOnTheCallersThread)
{
    addChannel("APM");
    const auto provider = installProvider();
    simulated().setHold(true);

    report({ { "t", "x" }, { "n", nullptr } });

    EXPECT_THAT(provider->names, ElementsAre("vendel-app"));
    EXPECT_THAT(provider->contents, ElementsAre(R"({"t":"x","n":null})"));
    EXPECT_EQ(simulated().dispatch().readyBlockCount(), 0u);
}

TEST_F(APMProviderTest, AReportToTheProviderEntersNoListAndReachesNoCallback)
{
    const auto apm = addChannel("APM", 1);
    installProvider();

    report({ { "t", "x" } });

    EXPECT_EQ(eventCount(), 0u);
    EXPECT_TRUE(apm->apiDatas().empty());
    EXPECT_EQ(apm->ledger().events.accepted, 0);
    EXPECT_EQ(simulated().httpClient().requestCount(), 0u);
}

TEST_F(APMProviderTest, AReportsValuesReplaceThoseOfTheCommonData)
{
    addChannel("APM");
    manager().setupCommonDatas({ { "os", "A" }, { "brand", "C" } }, "data", "APM");
    const auto provider = installProvider();

    report({ { "os", "B" } });

    EXPECT_EQ(provider->only(), (Dictionary { { "os", "B" }, { "brand", "C" } }));
}

TEST_F(APMProviderQuirk, ANullOfAReportReplacesACommonValue)
{
    addChannel("APM");
    manager().setupCommonDatas({ { "network", "A" }, { "p", "B" } }, "data", "APM");
    const auto provider = installProvider();

    manager().enrollAPMReport(TrackerMeta(TrackerMeta::T("x")));

    EXPECT_EQ(provider->only().size(), 33u);
    EXPECT_EQ(provider->only().at("network"), nullptr);
    EXPECT_EQ(provider->only().at("p"), nullptr);
}

TEST_F(APMProviderTest, ReportAndCommonDataAreMergedAtTheTopLevelOnly)
{
    addChannel("APM");
    manager().setupCommonDatas({ { "o", { { "a", 1 } } } }, "data", "APM");
    const auto provider = installProvider();

    report({ { "o", { { "b", 2 } } } });

    EXPECT_EQ(provider->only(), (Dictionary { { "o", { { "b", 2 } } } }));
}

TEST_F(APMProviderTest, TheChannelsCommonDataIsNotChanged)
{
    const auto apm = addChannel("APM");
    manager().setupCommonDatas({ { "os", "A" } }, "data", "APM");
    installProvider();

    report({ { "os", "B" }, { "k", 1 } });

    EXPECT_EQ(apm->commonData()->commonDatas, (Dictionary { { "os", "A" } }));
}

TEST_F(APMProviderTest, WithoutAnAPMChannelAReportPassesTheIntake)
{
    const auto provider = installProvider();

    report({ { "t", "x" } });

    EXPECT_EQ(eventCount(), 1u);
    EXPECT_TRUE(provider->contents.empty());
}

TEST_F(APMProviderTest, WithoutAProviderCommonDataIsNotMergedIn)
{
    addChannel("APM");
    manager().setupCommonDatas({ { "os", "A" } }, "data", "APM");

    report({ { "t", "x" } });

    EXPECT_EQ(onlyEvent().event, (Dictionary { { "t", "x" } }));
}

TEST_F(APMProviderTest, EventsOfOtherChannelsDoNotReachTheProvider)
{
    addChannel("APM");
    const auto provider = installProvider();

    manager().enrollSentryTrack({ { "k", 1 } }, true);
    manager().enrollE2ETrack({ { "k", 1 } });

    EXPECT_EQ(eventCount(), 2u);
    EXPECT_TRUE(provider->contents.empty());
}

TEST_F(APMProviderTest, AProviderThatIsRemovedGetsNoMoreReports)
{
    addChannel("APM");
    const auto provider = installProvider();
    manager().setupOstra(nullptr);

    report({ { "t", "x" } });

    EXPECT_EQ(eventCount(), 1u);
    EXPECT_TRUE(provider->contents.empty());
    EXPECT_EQ(provider.use_count(), 1);
}

TEST_F(APMProviderTest, TheManagerKeepsTheProviderAlive)
{
    const std::weak_ptr<RecordingProvider> provider = installProvider();

    EXPECT_FALSE(provider.expired());
    manager().setupOstra(nullptr);
    EXPECT_TRUE(provider.expired());
}

TEST_F(APMProviderTest, TheReportAndTheCallOfTheProviderAreLogged)
{
    addChannel("APM");
    manager().setupCommonDatas({ { "os", "A" } }, "data", "APM");
    installProvider();
    const auto log = listen();

    report({ { "os", "B" }, { "n", nullptr } });

    EXPECT_THAT(log->lines,
        ElementsAre(R"([TrackerData] Ostra report data: {"os":"B","n":null})",
            "[TrackerData] Ostra report succeed!"));
    EXPECT_THAT(log->levels, ElementsAre(3u, 3u));
}

TEST_F(APMProviderTest, ARecordIsTheSameTextWithoutAndWithALogService)
{
    addChannel("APM");
    manager().setupCommonDatas({ { "os", "A" }, { "p", "B" }, { "ct", 1 } }, "data", "APM");
    const auto provider = installProvider();
    const auto reportRecord = [] {
        TrackerMeta record(TrackerMeta::T("x"));
        record.p = "Page";
        record.pageExpend = StringDictionary { { "id", "7" } };
        manager().enrollAPMReport(std::move(record));
    };

    reportRecord();
    const auto log = listen();
    reportRecord();

    ASSERT_EQ(provider->contents.size(), 2u);
    EXPECT_EQ(provider->contents[0], provider->contents[1]);
    EXPECT_THAT(provider->contents[0], StartsWith(R"({"os":"A","t":"x",)"));
    EXPECT_THAT(log->lines,
        ElementsAre(StartsWith(R"([TrackerData] Ostra report data: {"os":"A","p":"Page",)"),
            "[TrackerData] Ostra report succeed!"));
}

TEST_F(APMProviderQuirk, AReportWithANumberThatIsNotFiniteIsLostWithALogLine)
{
    addChannel("APM");
    const auto provider = installProvider();
    const auto log = listen();

    report({ { "t", "x" }, { "bad", std::numeric_limits<double>::infinity() } });

    EXPECT_THAT(log->lines,
        ElementsAre(R"([TrackerData] Ostra report data: {"t":"x","bad":inf})",
            testing::StartsWith("[TrackerData] Ostra Report error, ")));
    EXPECT_TRUE(provider->contents.empty());
    EXPECT_EQ(eventCount(), 0u);
}

TEST_F(APMProviderTest, ARecordWithANumberThatIsNotFiniteIsLost)
{
    addChannel("APM");
    const auto provider = installProvider();
    TrackerMeta record(TrackerMeta::T("x"));
    record.ct = std::numeric_limits<double>::infinity();
    record.extra = deepDictionary(200'000);

    manager().enrollAPMReport(std::move(record));
    EXPECT_TRUE(provider->contents.empty());
    manager().enrollAPMReport(TrackerMeta(TrackerMeta::T("next")));

    EXPECT_EQ(provider->only().at("t"), "next");
    EXPECT_EQ(eventCount(), 0u);
}

class InstallingScreen : public UIViewController {
public:
    explicit InstallingScreen(std::function<void()> install)
        : m_install(std::move(install))
    {
    }
    std::string className() const override
    {
        m_install();
        return "Page";
    }
    std::string sceneName() const override { return "Host.Page"; }

private:
    std::function<void()> m_install;
};

TEST_F(APMProviderTest, AProviderThatTheTopScreenInstallsGetsTheRecord)
{
    addChannel("APM");
    std::shared_ptr<RecordingProvider> provider;
    const auto screen = std::make_shared<InstallingScreen>([&] { provider = installProvider(); });
    TrackerDataExcavator::setTopViewControllerInfo(ViewControllerInfo { screen, {} });

    manager().enrollAPMReport(TrackerMeta(TrackerMeta::T("x")));

    ASSERT_TRUE(provider);
    EXPECT_EQ(provider->contents.size(), 1u);
    EXPECT_EQ(eventCount(), 0u);
}

TEST_F(APMProviderTest, CommonDataWithANumberThatIsNotFiniteLoseReportsThatDoNotReplaceIt)
{
    addChannel("APM");
    manager().setupCommonDatas(
        { { "bad", std::numeric_limits<double>::quiet_NaN() } }, "data", "APM");
    const auto provider = installProvider();

    report({ { "t", "x" } });
    report({ { "bad", 1 } });

    EXPECT_THAT(provider->contents, ElementsAre(R"({"bad":1})"));
}

TEST_F(APMProviderTest, AProviderThatThrowsIsLoggedAndCounted)
{
    addChannel("APM");
    const auto provider = installProvider();
    provider->throws = true;
    const auto log = listen();
    const auto exceptions = hostExceptionCount();

    report({ { "t", "x" } });

    EXPECT_THAT(log->lines,
        ElementsAre(testing::_,
            "[TrackerData] Ostra Report error, The provider threw: the service is down"));
    EXPECT_EQ(hostExceptionCount(), exceptions + 1);
    EXPECT_EQ(eventCount(), 0u);
}

TEST_F(APMProviderTest, AProviderThatThrewGetsTheNextReport)
{
    addChannel("APM");
    const auto provider = installProvider();
    provider->throws = true;
    report({ { "n", 1 } });
    provider->throws = false;

    report({ { "n", 2 } });

    EXPECT_THAT(provider->contents, ElementsAre(R"({"n":2})"));
}

TEST_F(APMProviderTest, AProviderMayRemoveItselfWhileReporting)
{
    class Leaving final : public QVXOstraProviderProtocol {
        void report(const std::string&, const std::string&) override
        {
            TrackerManager::shared().setupOstra(nullptr);
        }
    };
    addChannel("APM");
    manager().setupOstra(std::make_shared<Leaving>());

    report({ { "n", 1 } });
    report({ { "n", 2 } });

    EXPECT_EQ(onlyEvent().event, (Dictionary { { "n", 2 } }));
}

TEST_F(APMProviderTest, AProviderMayReportFromWithinAReport)
{
    class Echoing final : public QVXOstraProviderProtocol {
        void report(const std::string&, const std::string& content) override
        {
            contents.push_back(content);
            if (contents.size() == 1)
                TrackerManager::shared().wrapAppendTracker({ { "n", 2 } });
        }

    public:
        std::vector<std::string> contents;
    };
    addChannel("APM");
    const auto provider = std::make_shared<Echoing>();
    manager().setupOstra(provider);

    report({ { "n", 1 } });

    EXPECT_THAT(provider->contents, ElementsAre(R"({"n":1})", R"({"n":2})"));
}

TEST_F(APMProviderTest, AReportOfAnyDepthReachesTheProvider)
{
    Value deep = deepArray(100'000);
    addChannel("APM");
    const auto provider = installProvider();
    listen();

    report({ { "deep", std::move(deep) } });

    ASSERT_EQ(provider->contents.size(), 1u);
    EXPECT_EQ(provider->contents.front().size(), 200'000u + R"({"deep":"bottom"})"sv.size());
}

TEST_F(APMProviderTest, BytesThatAreNotUTF8ReachTheProviderRepaired)
{
    addChannel("APM");
    const auto provider = installProvider();

    report({ { "t", "a\xFF" } });

    EXPECT_THAT(provider->contents, ElementsAre("{\"t\":\"a\xEF\xBF\xBD\"}"));
}

TEST_F(APMProviderQuirk, UseOstraReportOfTheChannelIsNotRead)
{
    // Whether there is a provider decides, whatever the channel's flag says.
    for (const bool useOstraReport : { false, true }) {
        const std::string index = useOstraReport ? "APM" : "other";
        manager().register_(std::make_shared<TrackerConfig>(
            index, 1000, StringDictionary(), Array(), useOstraReport));
    }
    report({ { "n", 1 } });
    EXPECT_EQ(eventCount(), 1u);

    const auto provider = installProvider();
    report({ { "n", 2 } });
    EXPECT_EQ(provider->contents.size(), 1u);
    EXPECT_EQ(eventCount(), 1u);
}

TEST_F(APMProviderQuirk, SucceedOnlySaysThatTheReportWasHandedOver)
{
    class Losing final : public QVXOstraProviderProtocol {
        void report(const std::string&, const std::string&) override { }
    };
    addChannel("APM");
    manager().setupOstra(std::make_shared<Losing>());
    const auto log = listen();

    report({ { "n", 1 } });

    EXPECT_EQ(log->lines.back(), "[TrackerData] Ostra report succeed!");
}

} // namespace
} // namespace telvora
