#include <Telvora/Classes/Domain/TrackerDomainConstant.h>

#include <gtest/gtest.h>

namespace telvora {
namespace {

TEST(DefaultIndexTest, EachIndexHasARawValueAndIsFoundByIt)
{
    EXPECT_EQ(rawValue(DefaultIndex::APM), "APM");
    EXPECT_EQ(rawValue(DefaultIndex::MP), "MP");
    EXPECT_EQ(rawValue(DefaultIndex::E2E), "E2E");
    EXPECT_EQ(rawValue(DefaultIndex::Sentry), "Sentry");
    for (const DefaultIndex index :
        { DefaultIndex::APM, DefaultIndex::MP, DefaultIndex::E2E, DefaultIndex::Sentry })
        EXPECT_EQ(defaultIndex(rawValue(index)), index);
}

TEST(DefaultIndexTest, AnyOtherTextIsAbsent)
{
    for (const char* text : { "", "apm", "APM ", "SENTRY", "sentry", "Vendel" })
        EXPECT_EQ(defaultIndex(text), std::nullopt) << text;
}

TEST(TrackNetworkStatusTypeTest, EachTypeHasARawValueAndIsFoundByIt)
{
    using Type = TrackNetworkStatusType;
    const std::pair<Type, std::string_view> table[] {
        { Type::network_2g, "2G" },
        { Type::network_3g, "3G" },
        { Type::network_4g, "4G" },
        { Type::network_5g, "5G" },
        { Type::network_wifi, "WIFI" },
        { Type::unknown, "unknown" },
        { Type::none, "none" },
    };
    for (const auto& [type, word] : table) {
        EXPECT_EQ(rawValue(type), word);
        EXPECT_EQ(trackNetworkStatusType(word), type);
    }
    EXPECT_EQ(caseName(Type::network_wifi), "network_wifi");
}

TEST(TrackNetworkStatusTypeTest, AValueOutOfRangeHasAnEmptyText)
{
    for (const int value : { -1, 7, 1'000'000 }) {
        EXPECT_EQ(rawValue(static_cast<TrackNetworkStatusType>(value)), "");
        EXPECT_EQ(caseName(static_cast<TrackNetworkStatusType>(value)), "");
        EXPECT_EQ(rawValue(static_cast<DefaultIndex>(value)), "");
    }
}

TEST(TrackNetworkStatusTypeTest, AnyOtherTextIsAbsent)
{
    for (const char* text : { "", "2g", "WiFi", "wifi", "LTE", "None", "Unknown", "6G" })
        EXPECT_EQ(trackNetworkStatusType(text), std::nullopt) << text;
}

} // namespace
} // namespace telvora
