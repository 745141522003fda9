#include <Telvora/Classes/Model/PageParameters.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace telvora {
namespace {

using Parameters = std::shared_ptr<const StringDictionary>;

Parameters parameters(StringDictionary values)
{
    return std::make_shared<const StringDictionary>(std::move(values));
}

class PageParametersTest : public testing::Test {
protected:
    // The parameters that a report takes when each read finds the next of these pages on top.
    std::optional<StringDictionary> readFrom(const std::vector<Parameters>& pages)
    {
        return detail::pageParameters([&] { return pages.at(reads++); });
    }

    std::size_t reads = 0;
};
using PageParametersQuirk = PageParametersTest;

TEST_F(PageParametersTest, APageWithoutParametersIsReadOnceAndGivesNone)
{
    EXPECT_EQ(readFrom({ parameters({}) }), std::nullopt);
    EXPECT_EQ(readFrom({ nullptr, nullptr }), std::nullopt);
    EXPECT_EQ(reads, 2u);
}

TEST_F(PageParametersQuirk, APageWithParametersIsReadTwiceAndTheSecondReadIsTaken)
{
    EXPECT_EQ(readFrom({ parameters({ { "a", "1" } }), parameters({ { "b", "2" } }) }),
        (StringDictionary { { "b", "2" } }));
    EXPECT_EQ(reads, 2u);
}

TEST_F(PageParametersQuirk, APageThatComesToTheTopBetweenTheReadsIsTaken)
{
    EXPECT_EQ(readFrom({ parameters({ { "a", "1" } }), parameters({}) }), StringDictionary());
}

TEST_F(PageParametersTest, APageThatDisappearsBetweenTheReadsGivesNone)
{
    EXPECT_EQ(readFrom({ parameters({ { "a", "1" } }), nullptr }), std::nullopt);
}

} // namespace
} // namespace telvora
