#include <Telvora/LoggableKit/Classes/QuorvexLog.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>

namespace telvora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Category = QuorvexLog::Category;
using Level = QuorvexLogLevel;

class RecordingService final : public LogService {
public:
    void loggerInit() override { calls.emplace_back(0, "loggerInit"); }
    void log(unsigned level, const std::string& message) override
    {
        if (throws)
            throw std::runtime_error("disk full");
        calls.emplace_back(level, message);
    }

    bool throws = false;
    std::vector<std::pair<unsigned, std::string>> calls;
};

class QuorvexLogTest : public testing::Test {
protected:
    QuorvexLogTest() { installPlatform(simulated.services()); }

    void install() { QuorvexLog::setLogService(service); }

    // From now on every line reaches the service. Earlier calls are not recorded.
    void listen()
    {
        install();
        QuorvexLog::configLogger();
        service->calls.clear();
    }

    SimulatedPlatform& simulated = *new SimulatedPlatform;
    std::shared_ptr<RecordingService> service = std::make_shared<RecordingService>();
};
using QuorvexLogQuirk = QuorvexLogTest;

TEST_F(QuorvexLogTest, ALineIsTheBracketedCategoryAndTheMessage)
{
    listen();

    QuorvexLog::log(Category::http(), "x");

    EXPECT_THAT(service->calls, ElementsAre(Pair(4u, "[HTTP] x")));
}

TEST_F(QuorvexLogTest, TheCategoryDecidesTheLevel)
{
    listen();

    QuorvexLog::log(Category::http(), "");
    QuorvexLog::log(Category::sensors(), "");
    QuorvexLog::log(Category("HTTP"), "");
    QuorvexLog::log(Category("Sensors"), "");
    QuorvexLog::log(Category("http"), "");
    QuorvexLog::log(Category(""), "");
    QuorvexLog::log(Category::trackerData(), "");

    EXPECT_THAT(service->calls,
        ElementsAre(Pair(4u, "[HTTP] "), Pair(5u, "[Sensors] "), Pair(4u, "[HTTP] "),
            Pair(5u, "[Sensors] "), Pair(3u, "[http] "), Pair(3u, "[] "),
            Pair(3u, "[TrackerData] ")));
}

TEST_F(QuorvexLogTest, TheLibrarysCategoriesHaveTheirNames)
{
    EXPECT_EQ(Category::http().name, "HTTP");
    EXPECT_EQ(Category::sensors().name, "Sensors");
    EXPECT_EQ(Category::trackerData().name, "TrackerData");
    EXPECT_EQ(Category::trackerTransition().name, "TrackerTransition");
    EXPECT_EQ(Category::watchdog().name, "Watchdog");
    EXPECT_EQ(Category::tracker().name, "Tracker Manager");
    EXPECT_EQ(Category::db().name, "db");
}

TEST_F(QuorvexLogTest, LinesBeforeTheConfigurationAreLost)
{
    QuorvexLog::log(Category::http(), "before the service");
    install();
    QuorvexLog::log(Category::http(), "before the configuration");
    QuorvexLog::safeLog(1, "raw");

    QuorvexLog::configLogger();

    EXPECT_THAT(service->calls, ElementsAre(Pair(0u, "loggerInit")));
}

TEST_F(QuorvexLogTest, ConfigurationWithoutAServiceDoesNothing)
{
    QuorvexLog::configLogger();
    install();

    QuorvexLog::log(Category::http(), "x");

    EXPECT_THAT(service->calls, IsEmpty());
}

TEST_F(QuorvexLogTest, EachConfigurationInitialisesTheService)
{
    install();

    QuorvexLog::configLogger();
    QuorvexLog::configLogger();

    EXPECT_THAT(service->calls, ElementsAre(Pair(0u, "loggerInit"), Pair(0u, "loggerInit")));
}

TEST_F(QuorvexLogTest, AServiceThatIsRemovedGetsNoMoreLines)
{
    listen();
    QuorvexLog::setLogService(nullptr);

    QuorvexLog::log(Category::http(), "x");

    EXPECT_THAT(service->calls, IsEmpty());
    EXPECT_EQ(service.use_count(), 1);
}

TEST_F(QuorvexLogTest, AnEventIsPrintedAsIndentedJSON)
{
    listen();

    QuorvexLog::log(Category("c"), Dictionary { { "a", 1 }, { "b", nullptr } });

    EXPECT_THAT(service->calls, ElementsAre(Pair(3u, "[c] {\n  \"a\" : 1,\n  \"b\" : null\n}")));
}

TEST_F(QuorvexLogTest, AnEventThatCannotBeEncodedIsAnEmptyMessage)
{
    listen();

    QuorvexLog::log(
        Category("c"), Dictionary { { "a", std::numeric_limits<double>::quiet_NaN() } });

    EXPECT_THAT(service->calls, ElementsAre(Pair(3u, "[c] ")));
}

TEST_F(QuorvexLogTest, AnErrorFollowsTheMessage)
{
    listen();

    QuorvexLog::log(Category("c"), "no luck", "the disk is full");

    EXPECT_THAT(service->calls,
        ElementsAre(Pair(unsigned(Level::warning), "[c] no luck, the disk is full")));
}

TEST_F(QuorvexLogTest, AMessageIsOnlyMadeWhenThereIsAService)
{
    int made = 0;
    const auto make = [&] { return "message " + std::to_string(++made); };

    QuorvexLog::log(Category("c"), make);
    install();
    QuorvexLog::log(Category("c"), make);
    EXPECT_EQ(made, 0);

    QuorvexLog::configLogger();
    QuorvexLog::log(Category("c"), make);
    EXPECT_EQ(service->calls.back().second, "[c] message 1");
}

TEST_F(QuorvexLogTest, ALineIsDeliveredWhenTheCallReturns)
{
    listen();
    simulated.setHold(true);

    QuorvexLog::log(Category("c"), "x");

    EXPECT_EQ(service->calls.size(), 1u);
}

TEST_F(QuorvexLogTest, ServicesThatThrowAreCountedAndCalledAgain)
{
    listen();
    service->throws = true;
    const auto exceptions = hostExceptionCount();

    QuorvexLog::log(Category("c"), "x");
    service->throws = false;
    QuorvexLog::log(Category("c"), "y");

    EXPECT_EQ(hostExceptionCount(), exceptions + 1);
    EXPECT_THAT(service->calls, ElementsAre(Pair(3u, "[c] y")));
}

TEST_F(QuorvexLogTest, SafeLogDeliversALineUnchanged)
{
    listen();

    QuorvexLog::safeLog(7, "as it is");

    EXPECT_THAT(service->calls, ElementsAre(Pair(7u, "as it is")));
}

TEST_F(QuorvexLogTest, TheFreeFunctionsDoTheSame)
{
    listen();

    log(Category("c"), "x");
    log(Category("c"), "x", "y");

    EXPECT_THAT(service->calls, ElementsAre(Pair(3u, "[c] x"), Pair(2u, "[c] x, y")));
}

TEST_F(QuorvexLogTest, ACServiceOfTwoFunctionsGetsTheLines)
{
    static std::vector<std::string> calls;
    const ObjcLogService functions {
        [](void* context) { calls.push_back(*static_cast<std::string*>(context) + " init"); },
        [](void* context, unsigned level, const char* message) {
            calls.push_back(*static_cast<std::string*>(context) + std::to_string(level) + message);
        },
        new std::string("own"),
    };

    qvxLogWithLevel(1, "lost");
    QuorvexLog::setLogService(functions);
    QuorvexLog::configLogger();
    qvxLogWithLevel(6, "line");
    QuorvexLog::log(Category("c"), "x");

    EXPECT_THAT(calls, ElementsAre("own init", "own6line", "own3[c] x"));
}

TEST_F(QuorvexLogTest, ANullFunctionOfACServiceIsNotCalled)
{
    QuorvexLog::setLogService(ObjcLogService { nullptr, nullptr, nullptr });
    QuorvexLog::configLogger();

    qvxLogWithLevel(1, "line");

    EXPECT_EQ(hostExceptionCount(), 0);
}

TEST_F(QuorvexLogTest, ANullMessageFromCIsAnEmptyLine)
{
    listen();

    qvxLogWithLevel(7, nullptr);

    EXPECT_THAT(service->calls, ElementsAre(Pair(7u, "")));
}

TEST_F(QuorvexLogTest, LevelsHaveTheNumbersOneToFive)
{
    EXPECT_EQ(quorvexLogLevel(0), std::nullopt);
    EXPECT_EQ(quorvexLogLevel(1), Level::tesselInternal);
    EXPECT_EQ(quorvexLogLevel(2), Level::warning);
    EXPECT_EQ(quorvexLogLevel(3), Level::custom);
    EXPECT_EQ(quorvexLogLevel(4), Level::netwrok);
    EXPECT_EQ(quorvexLogLevel(5), Level::action);
    EXPECT_EQ(quorvexLogLevel(6), std::nullopt);
    EXPECT_EQ(quorvexLogLevel((std::uint64_t(1) << 32) + 1), std::nullopt);
}

TEST_F(QuorvexLogTest, OnlyTheHostChangesTheListOfLogs)
{
    EXPECT_THAT(QuorvexLog::logs(), IsEmpty());
    QuorvexLog::setLogs({ "a", "b" });
    listen();

    QuorvexLog::log(Category("c"), "x");

    EXPECT_THAT(QuorvexLog::logs(), ElementsAre("a", "b"));
}

TEST_F(QuorvexLogTest, NeedToPrintReturnsTheAnswerOfTheFilter)
{
    EXPECT_TRUE(QuorvexLog::needToPrint(Category("c")));

    QuorvexLog::setLogFilter(QuorvexLogFilter::only("c"));

    EXPECT_TRUE(QuorvexLog::needToPrint(Category("c")));
    EXPECT_FALSE(QuorvexLog::needToPrint(Category("d")));
    EXPECT_FALSE(QuorvexLog::logFilter().needToPrint(Category("d")));
}

TEST_F(QuorvexLogQuirk, TheFilterHoldsNoLineBackAndPrintsNone)
{
    listen();
    QuorvexLog::setLogFilter(QuorvexLogFilter::none());

    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    QuorvexLog::log(Category("c"), "x");
    QuorvexLog::setLogFilter(QuorvexLogFilter::all());
    QuorvexLog::log(Category("c"), "y");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(service->calls, ElementsAre(Pair(3u, "[c] x"), Pair(3u, "[c] y")));
}

TEST_F(QuorvexLogQuirk, TheLevelOfTheNetworkKeepsItsSpelling)
{
    EXPECT_EQ(static_cast<unsigned>(QuorvexLogLevel::netwrok), 4u);
}

TEST_F(QuorvexLogQuirk, EndToEndHasTheNameOfANetworkingCategory)
{
    EXPECT_EQ(Category::endToEnd().name, "APM-Http");
    EXPECT_EQ(QuorvexLogFilter::networkingCategories().front(), Category::endToEnd());
    EXPECT_FALSE(QuorvexLogFilter::hideNetworking().needToPrint(Category::endToEnd()));
}

TEST_F(QuorvexLogQuirk, AServiceInstalledAfterTheConfigurationIsNotInitialised)
{
    listen();
    const auto second = std::make_shared<RecordingService>();
    QuorvexLog::setLogService(second);

    QuorvexLog::log(Category("c"), "x");

    EXPECT_THAT(second->calls, ElementsAre(Pair(3u, "[c] x")));
    EXPECT_THAT(service->calls, IsEmpty());
}

} // namespace
} // namespace telvora
