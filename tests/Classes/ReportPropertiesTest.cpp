#include <tests/Base/JSONTesting.h>
#include <tests/Classes/SimulatedHost.h>

namespace telvora {
namespace {

// The rules of reports, tested with random dictionaries: a key that no rule names stays unchanged.
class ReportPropertiesTest : public SimulatedHost {
protected:
    ReportPropertiesTest() { watchEvents(); }

    // A dictionary of the host: random members, and some under keys that rules name.
    Dictionary hostDictionary()
    {
        static const char* const known[] { "t", "d", "p", "batr", "wifi", "si", "pageExpend",
            "ipaMode", "fpt", "extra", "cs", "network" };
        Dictionary dictionary = random.dictionary(2);
        for (const char* key : known) {
            if (random.below(3) == 0)
                dictionary[key] = random.value(2);
        }
        if (random.below(4) == 0)
            dictionary["t"] = "FPS";
        if (random.below(4) == 0)
            dictionary["extra"] = std::string_view(*encode(random.dictionary(2)));
        return dictionary;
    }

    Dictionary only()
    {
        Dictionary event = onlyEvent().event;
        seen.clear();
        return event;
    }

    static bool isText(const Dictionary& dictionary, const char* key)
    {
        const Value* value = dictionary.if_contains(key);
        return value && value->is_string() && !value->get_string().empty();
    }

    // The keys that are replaced, and those that are added where they are missing.
    static bool isOverwritten(const Dictionary& given, std::string_view key)
    {
        if (key == "d" || key == "ipaMode")
            return true;
        if (key == "fpt")
            return given.contains("t") && given.at("t") == "FPS";
        return key == "extra" && isText(given, "cs");
    }

    RandomJSON random { 7 };
};

TEST_F(ReportPropertiesTest, AReportKeepsAllKeysThatNoRuleNames)
{
    for (int round = 0; round < 2'000; ++round) {
        const Dictionary given = hostDictionary();
        if (given.empty())
            continue;
        testing::internal::CaptureStdout();
        manager().reportAPMDict(given);
        testing::internal::GetCapturedStdout();
        const Dictionary event = only();

        for (const auto& member : given) {
            ASSERT_TRUE(event.contains(member.key()));
            if (!isOverwritten(given, member.key())) {
                ASSERT_EQ(event.at(member.key()), member.value()) << member.key();
            }
        }
        for (const auto& member : event) {
            const std::string_view key = member.key();
            ASSERT_TRUE(given.contains(key) || key == "d" || key == "wifi" || key == "si"
                || key == "ipaMode" || isOverwritten(given, key))
                << key;
        }
    }
}

TEST_F(ReportPropertiesTest, AnExtraThatIsAnObjectAfterwardsContainsCS)
{
    for (int round = 0; round < 2'000; ++round) {
        Dictionary given = hostDictionary();
        given["cs"] = "x";
        testing::internal::CaptureStdout();
        manager().reportAPMDict(given);
        testing::internal::GetCapturedStdout();
        const Dictionary event = only();

        ASSERT_TRUE(event.at("extra").is_string());
        const Decoded extra = decode(event.at("extra").get_string());
        if (extra.value && extra.value->is_object()) {
            ASSERT_EQ(extra.value->get_object().at("cs"), "x");
        } else {
            ASSERT_EQ(event.at("extra"), given.at("extra"));
        }
    }
}

TEST_F(ReportPropertiesTest, AnObjectInExtraKeepsItsMembers)
{
    for (int round = 0; round < 1'000; ++round) {
        Dictionary object = random.dictionary(3);
        const bool asText = random.below(2) == 0;
        Dictionary given { { "cs", "x" } };
        if (asText)
            given["extra"] = std::string_view(*encode(object));
        else
            given["extra"] = object;
        manager().reportAPMDict(given);

        object["cs"] = "x";
        ASSERT_EQ(decode(only().at("extra").as_string()).value, Value(object));
    }
}

TEST_F(ReportPropertiesTest, AStampedEventDiffersOnlyInItsNetwork)
{
    for (int round = 0; round < 1'000; ++round) {
        Dictionary event = hostDictionary();
        switch (round % 3) {
        case 0:
            manager().enrollE2ETrack(event);
            break;
        case 1:
            manager().enrollSentryTrack(event, random.below(2) == 0);
            break;
        default:
            manager().enrollMPTrack(event);
            ASSERT_EQ(only(), event);
            continue;
        }
        event["network"] = "WIFI";
        ASSERT_EQ(only(), event);
    }
}

TEST_F(ReportPropertiesTest, AProviderGetsTheCommonDataMergedWithTheReport)
{
    addChannel("APM");
    const auto provider = installProvider();
    for (int round = 0; round < 1'000; ++round) {
        const Dictionary common = hostDictionary();
        const Dictionary report = hostDictionary();
        manager().setupCommonDatas(common, "data", "APM");
        provider->contents.clear();
        manager().wrapAppendTracker(report);

        Dictionary expected = common;
        for (const auto& member : report)
            expected[member.key()] = member.value();
        ASSERT_EQ(provider->only(), expected);
    }
}

} // namespace
} // namespace telvora
