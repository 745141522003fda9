#include <Telvora/Classes/Utils/TrackerNetwork.h>

#include <tests/Classes/SimulatedHost.h>

#include <Telvora/LoggableKit/Classes/QuorvexLog.h>

#include <limits>
#include <regex>
#include <stdexcept>

namespace telvora {
namespace {

constexpr auto url = "http://collector.example/batch";

class TrackerNetworkTest : public SimulatedHost {
protected:
    TrackerNetworkTest()
    {
        QuorvexLog::setLogService(log);
        QuorvexLog::configLogger();
    }

    class Log final : public LogService {
    public:
        void loggerInit() override { }
        void log(unsigned, const std::string& message) override { lines.push_back(message); }
        std::vector<std::string> lines;
    };

    void post(Dictionary param = { { "a", 1 } }, const StringDictionary& headers = {})
    {
        posted = makeBatch(std::move(param));
        TrackerNetwork::post(url, posted, headers, [this](bool isAccepted, Batch back) {
            outcomes.push_back(isAccepted);
            linesBeforeHandler = log->lines.size();
            EXPECT_EQ(back, posted);
        });
        simulated().runUntilIdle();
    }

    void postAnswered(const ScriptedAnswer& answer)
    {
        simulated().httpClient().setAnswers({ answer });
        post();
    }

    static std::optional<std::string> header(std::size_t request, const std::string& field)
    {
        const auto requests = simulated().httpClient().requests();
        for (const auto& [name, value] : requests.at(request).headers) {
            if (name == field)
                return value;
        }
        return std::nullopt;
    }

    const std::shared_ptr<Log> log = std::make_shared<Log>();
    Batch posted;
    std::vector<bool> outcomes;
    std::size_t linesBeforeHandler = 0;
};

using TrackerNetworkQuirk = TrackerNetworkTest;
using TrackerNetworkDeathTest = TrackerNetworkTest;

const std::vector<bool> accepted { true };
const std::vector<bool> notAccepted { false };
const std::vector<bool> unheard {};

TEST_F(TrackerNetworkTest, SendsAPOSTOfCompactJSONWithATimeoutOfAMinute)
{
    post({ { "b", 1 }, { "a", Array { 1.5, "x" } } });

    const auto requests = simulated().httpClient().requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].url, url);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].timeout, std::chrono::seconds(60));
    EXPECT_EQ(requests[0].body, R"({"b":1,"a":[1.5,"x"]})");
}

TEST_F(TrackerNetworkQuirk, SendsTheFixedHeadersInTheirOrder)
{
    manager().setQvxUuid([] { return std::optional<std::string>("device-1"); });

    post();

    const auto headers = simulated().httpClient().requests().at(0).headers;
    ASSERT_EQ(headers.size(), 6u);
    EXPECT_EQ(headers[0], (std::pair<std::string, std::string>("clienttype", "ios")));
    EXPECT_EQ(headers[1], (std::pair<std::string, std::string>("versioncode", "1.0.0")));
    EXPECT_EQ(headers[2], (std::pair<std::string, std::string>("system-version", "15.0")));
    EXPECT_EQ(headers[3], (std::pair<std::string, std::string>("QVX-UUID", "device-1")));
    EXPECT_EQ(
        headers[4], (std::pair<std::string, std::string>("Content-Type", "application/json")));
    EXPECT_EQ(headers[5].first, "x-trace-id");
    EXPECT_TRUE(std::regex_match(headers[5].second,
        std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")));
}

TEST_F(TrackerNetworkTest, EveryRequestHasANewTraceId)
{
    post();
    post();

    EXPECT_NE(header(0, "x-trace-id"), header(1, "x-trace-id"));
}

TEST_F(TrackerNetworkTest, FixedHeadersReplaceACallersInAnyCaseOfLetters)
{
    post({}, { { "content-type", "text/plain" }, { "X-Trace-ID", "mine" }, { "x-own", "kept" } });

    EXPECT_EQ(header(0, "Content-Type"), "application/json");
    EXPECT_FALSE(header(0, "content-type"));
    EXPECT_FALSE(header(0, "X-Trace-ID"));
    EXPECT_EQ(header(0, "x-own"), "kept");
}

TEST_F(TrackerNetworkTest, AChannelsHeadersReplaceTheAdditionalOnes)
{
    TrackerManager::configHeaders({ { "X-Shared", "all" }, { "x-only", "additional" } });

    post({}, { { "x-shared", "channel" } });

    EXPECT_EQ(header(0, "x-shared"), "channel");
    EXPECT_FALSE(header(0, "X-Shared"));
    EXPECT_EQ(header(0, "x-only"), "additional");
}

TEST_F(TrackerNetworkTest, AdditionalHeadersReplaceTheEarlierOnes)
{
    TrackerManager::configHeaders({ { "x-one", "1" } });
    TrackerManager::configHeaders({ { "x-two", "2" } });

    post();

    EXPECT_FALSE(header(0, "x-one"));
    EXPECT_EQ(header(0, "x-two"), "2");
}

TEST_F(TrackerNetworkTest, AnAbsentIdentifierRemovesACallersHeader)
{
    post({}, { { "qvx-uuid", "mine" } });

    EXPECT_FALSE(header(0, "QVX-UUID"));
    EXPECT_FALSE(header(0, "qvx-uuid"));
}

TEST_F(TrackerNetworkTest, TheIdentifierSourceIsCalledOnceARequest)
{
    int asked = 0;
    manager().setQvxUuid([&] { return std::optional(std::to_string(++asked)); });

    post();
    post();

    EXPECT_EQ(header(0, "QVX-UUID"), "1");
    EXPECT_EQ(header(1, "QVX-UUID"), "2");
}

TEST_F(TrackerNetworkTest, AnEmptyIdentifierSourceLeavesTheHeaderOut)
{
    answerAll(success());
    TrackerNetwork::shareInstance().setIdentifierSource({});

    post();

    EXPECT_EQ(outcomes, accepted);
    EXPECT_FALSE(header(0, "QVX-UUID"));
}

TEST_F(TrackerNetworkTest, AHandlerIsNotCalledWhereTheClientThrows)
{
    simulated().httpClient().setRequestObserver(
        [](std::size_t, const HTTPRequest&) { throw std::runtime_error("no more requests"); });

    post();

    EXPECT_EQ(outcomes, unheard);
}

TEST_F(TrackerNetworkTest, WithoutAVersionTheHeaderIsEmpty)
{
    simulated().bundle().setInfoDictionary({});
    post();
    simulated().bundle().setInfoDictionary({ { "CFBundleShortVersionString", 7 } });
    post();

    EXPECT_EQ(header(0, "versioncode"), "");
    EXPECT_EQ(header(1, "versioncode"), "");
}

TEST_F(TrackerNetworkTest, TheVersionIsReadForEachRequest)
{
    post();
    simulated().bundle().setInfoDictionary({ { "CFBundleShortVersionString", "2.0" } });
    post();

    EXPECT_EQ(header(0, "versioncode"), "1.0.0");
    EXPECT_EQ(header(1, "versioncode"), "2.0");
}

TEST_F(TrackerNetworkDeathTest, AnInvalidAddressStopsTheProcess)
{
    EXPECT_DEATH(TrackerNetwork::post("", makeBatch({}), {}, {}), "Fatal error");
    EXPECT_DEATH(TrackerNetwork::post("http://a b/", makeBatch({}), {}, {}), "Fatal error");
}

TEST_F(TrackerNetworkTest, ATransportErrorIsAFailureWithoutALogLine)
{
    postAnswered(ScriptedAnswer::error("no route"));
    EXPECT_EQ(outcomes, notAccepted);

    postAnswered(ScriptedAnswer::noData());
    EXPECT_EQ(outcomes, (std::vector<bool> { false, false }));
    EXPECT_TRUE(log->lines.empty());
}

TEST_F(TrackerNetworkTest, AnAnswerThatIsNotJSONIsAFailureLoggedAfterTheHandler)
{
    postAnswered(ScriptedAnswer::body("<html>"));

    EXPECT_EQ(outcomes, notAccepted);
    EXPECT_EQ(linesBeforeHandler, 0u);
    ASSERT_EQ(log->lines.size(), 1u);
    EXPECT_EQ(log->lines[0].rfind("[Tracker Manager] Tracker post failured: ", 0), 0u);
    EXPECT_GT(
        log->lines[0].size(), std::string("[Tracker Manager] Tracker post failured: ").size());
}

TEST_F(TrackerNetworkTest, AnEmptyAnswerIsNotJSON)
{
    postAnswered(ScriptedAnswer::body(""));

    EXPECT_EQ(outcomes, notAccepted);
    EXPECT_EQ(log->lines.size(), 1u);
}

TEST_F(TrackerNetworkQuirk, AnAnswerThatIsNoObjectReachesNoHandler)
{
    for (const char* answer : { "[]", R"("ok")", "7", "true", "null", R"([{"success":true}])" })
        postAnswered(ScriptedAnswer::body(answer));

    EXPECT_EQ(outcomes, unheard);
    EXPECT_TRUE(log->lines.empty());
}

TEST_F(TrackerNetworkQuirk, SuccessThatConvertsToABooleanIsAcceptedWhateverItsValue)
{
    for (const char* value :
        { "true", "false", "0", "1", "0.0", "1.0", "1e0", "0e5", "-0", "-0.0", "10e-1" }) {
        outcomes.clear();
        postAnswered(ScriptedAnswer::body(R"({"success":)" + std::string(value) + "}"));
        EXPECT_EQ(outcomes, accepted) << value;
    }
    EXPECT_TRUE(log->lines.empty());
}

TEST_F(TrackerNetworkTest, AnAnswerMayHaveAByteOrderMarkOrBeUTF16)
{
    using namespace std::string_literals;
    for (const std::string& answer :
        { "\xEF\xBB\xBF{\"success\":true}"s, "{\0\"\0s\0u\0c\0c\0e\0s\0s\0\"\0:\0001\0}\0"s }) {
        outcomes.clear();
        postAnswered(ScriptedAnswer::body(answer));
        EXPECT_EQ(outcomes, accepted);
    }
}

TEST_F(TrackerNetworkTest, SuccessThatDoesNotConvertToABooleanIsAFailureLoggedAfterTheHandler)
{
    for (const char* answer : { "{}", R"({"success":2})", R"({"success":-1})", R"({"success":0.5})",
             R"({"success":"true"})", R"({"success":{}})", R"({"success":null})",
             R"({"success":[true]})", R"({"success":18446744073709551615})",
             R"({"Success":true})" }) {
        outcomes.clear();
        log->lines.clear();
        postAnswered(ScriptedAnswer::body(answer));

        EXPECT_EQ(outcomes, notAccepted) << answer;
        EXPECT_EQ(linesBeforeHandler, 0u);
        EXPECT_EQ(log->lines,
            (std::vector<std::string> {
                "[Tracker Manager] Tracker post failured: resp result is `failure`" }));
    }
}

TEST_F(TrackerNetworkQuirk, TheStatusDoesNotMatter)
{
    postAnswered(ScriptedAnswer::body(R"({"success":true})", 500));
    EXPECT_EQ(outcomes, accepted);
}

TEST_F(TrackerNetworkQuirk, ABatchThatCannotBeEncodedReachesNoHandler)
{
    post({ { "x", std::numeric_limits<double>::infinity() } });

    EXPECT_EQ(outcomes, unheard);
    EXPECT_EQ(requestCount(), 0u);
    EXPECT_TRUE(log->lines.empty());
}

TEST_F(TrackerNetworkTest, ANullBatchReachesNoHandler)
{
    bool isHeard = false;

    TrackerNetwork::post(
        "http://collector.example/", nullptr, {}, [&](bool, Batch) { isHeard = true; });
    simulated().runUntilIdle();

    EXPECT_EQ(requestCount(), 0u);
    EXPECT_FALSE(isHeard);
}

TEST_F(TrackerNetworkTest, AnEmptyHandlerIsSkipped)
{
    answerAll(success());
    TrackerNetwork::post(url, makeBatch({}), {}, {});
    simulated().runUntilIdle();

    EXPECT_EQ(requestCount(), 1u);
}

} // namespace
} // namespace telvora
