#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/Classes/Utils/TrackerNetwork.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace telvora {
namespace {

using testing::Contains;
using testing::Not;
using testing::UnorderedElementsAre;

// Never destroyed, because the library's shared objects still use it.
SimulatedPlatform& simulated()
{
    static auto& platform = []() -> SimulatedPlatform& {
        auto& made = *new SimulatedPlatform;
        installPlatform(made.services());
        return made;
    }();
    return platform;
}

// The headers of a request, and which of them only the collector's host may see.
class TrackerNetworkHeaderTest : public testing::Test {
protected:
    TrackerNetworkHeaderTest() { simulated(); }

    // The request of a batch whose channel has these headers.
    static HTTPRequest requestWith(const StringDictionary& channelHeaders)
    {
        TrackerNetwork::post("http://collector.example/", makeBatch({}), channelHeaders, {});
        simulated().runUntilIdle();
        const auto requests = simulated().httpClient().requests();
        return requests.size() == 1 ? requests.front() : HTTPRequest();
    }

    static void identifyAs(std::optional<std::string> identifier)
    {
        TrackerManager::shared().setQvxUuid([identifier] { return identifier; });
    }

    static std::optional<std::string> value(const HTTPRequest& request, const std::string& wanted)
    {
        for (const auto& [name, value] : request.headers) {
            if (name == wanted)
                return value;
        }
        return std::nullopt;
    }

    static std::vector<std::string> names(const HTTPRequest& request)
    {
        std::vector<std::string> names;
        for (const auto& [name, value] : request.headers)
            names.push_back(name);
        return names;
    }
};

TEST_F(TrackerNetworkHeaderTest, ValuesLoseWhiteSpaceAndLineBreaksAroundThem)
{
    identifyAs("device-1\r\n");
    TrackerManager::configHeaders({ { "x-all", "\n a \t" } });

    const HTTPRequest request = requestWith({ { "x-channel", "\t b c\v\f" } });

    EXPECT_EQ(value(request, "QVX-UUID"), "device-1");
    EXPECT_EQ(value(request, "x-all"), "a");
    EXPECT_EQ(value(request, "x-channel"), "b c");
}

TEST_F(TrackerNetworkHeaderTest, BlankValueIsSentEmpty)
{
    EXPECT_EQ(value(requestWith({ { "x-channel", " \r\n" } }), "x-channel"), "");
}

TEST_F(TrackerNetworkHeaderTest, ValueWithALineBreakOrNULInsideIsLeftOutAndTheRequestIsSent)
{
    const HTTPRequest request = requestWith({ { "x-a", "1\r\nB: 2" }, { "x-b", "1\n2" },
        { "x-c", "1\r2" }, { "x-d", std::string("1\0002", 3) }, { "x-e", std::string("1\0", 2) } });

    EXPECT_EQ(request.method, "POST");
    for (const char* name : { "x-a", "x-b", "x-c", "x-d", "x-e" })
        EXPECT_FALSE(value(request, name)) << name;
    EXPECT_TRUE(value(request, "x-trace-id"));
}

TEST_F(TrackerNetworkHeaderTest, NameThatIsNoTokenIsLeftOutAndTheRequestIsSent)
{
    const HTTPRequest request = requestWith(
        { { "", "1" }, { "a b", "1" }, { "a:", "1" }, { "a\r\nb", "1" }, { "x-ok", "1" } });

    EXPECT_THAT(names(request),
        UnorderedElementsAre(
            "x-ok", "clienttype", "versioncode", "system-version", "Content-Type", "x-trace-id"));
}

TEST_F(TrackerNetworkHeaderTest, IdentifierThatIsLeftOutStillReplacesAChannelsHeader)
{
    identifyAs("a\nb");

    const HTTPRequest request = requestWith({ { "qvx-uuid", "mine" } });

    EXPECT_EQ(request.method, "POST");
    EXPECT_THAT(names(request), Not(Contains("qvx-uuid")));
    EXPECT_THAT(names(request), Not(Contains("QVX-UUID")));
}

TEST_F(TrackerNetworkHeaderTest, ChannelHeaderThatIsLeftOutStillReplacesTheAdditionalOne)
{
    TrackerManager::configHeaders({ { "X-Shared", "all" } });

    const HTTPRequest request = requestWith({ { "x-shared", "a\nb" } });

    EXPECT_THAT(names(request), Not(Contains("X-Shared")));
    EXPECT_THAT(names(request), Not(Contains("x-shared")));
}

TEST_F(TrackerNetworkHeaderTest, IdentifierAndTheHostsHeadersAreForTheCollectorsHostAlone)
{
    identifyAs("device-1");
    TrackerManager::configHeaders({ { "x-all", "1" }, { "CLIENTTYPE", "mine" } });

    const HTTPRequest request = requestWith({ { "Authorization", "2" } });

    EXPECT_THAT(
        request.hostOnlyHeaders, UnorderedElementsAre("QVX-UUID", "x-all", "Authorization"));
}

} // namespace
} // namespace telvora
