#include <Telvora/LoggableKit/Classes/QuorvexLogFilter.h>

#include <gmock/gmock.h>

namespace telvora {
namespace {

using Category = QuorvexLogCategory;
using Filter = QuorvexLogFilter;

std::vector<std::string> names(const std::vector<Category>& categories)
{
    std::vector<std::string> names;
    for (const Category& category : categories)
        names.push_back(category.name);
    return names;
}

TEST(QuorvexLogFilterTest, IncludingPrintsTheListedCategories)
{
    const Filter filter = Filter::including({ Category("a"), Category("b") });

    EXPECT_TRUE(filter.needToPrint(Category("a")));
    EXPECT_TRUE(filter.needToPrint(Category("b")));
    EXPECT_FALSE(filter.needToPrint(Category("A")));
}

TEST(QuorvexLogFilterTest, ExcludingPrintsAllOtherCategories)
{
    const Filter filter = Filter::excluding({ Category("a"), Category("b") });

    EXPECT_FALSE(filter.needToPrint(Category("a")));
    EXPECT_TRUE(filter.needToPrint(Category("A")));
}

TEST(QuorvexLogFilterTest, AnEmptyListPrintsNoneWhenIncludedAndAllWhenExcluded)
{
    for (const char* name : { "", "HTTP", "anything" }) {
        EXPECT_FALSE(Filter::including({}).needToPrint(Category(name)));
        EXPECT_TRUE(Filter::excluding({}).needToPrint(Category(name)));
    }
}

TEST(QuorvexLogFilterTest, AllPrintsEveryCategoryAndNonePrintsNone)
{
    EXPECT_TRUE(Filter::all().needToPrint(Category("")));
    EXPECT_FALSE(Filter::none().needToPrint(Category("")));
}

TEST(QuorvexLogFilterTest, OnlyPrintsOneName)
{
    EXPECT_TRUE(Filter::only("a").needToPrint(Category("a")));
    EXPECT_FALSE(Filter::only("a").needToPrint(Category("b")));
}

TEST(QuorvexLogFilterTest, ThePresetsUseTheirLists)
{
    EXPECT_THAT(names(Filter::uiCategories()),
        testing::ElementsAre("First Frame", "Storyboard", "LifeCycle"));
    EXPECT_THAT(names(Filter::networkingCategories()),
        testing::ElementsAre("APM-Http", "HTTP", "Client", "WSStream", "Firebase/Performance",
            "SessionDependentTask", "C2CFeed", "Feed"));

    for (const Category& category : Filter::uiCategories()) {
        EXPECT_TRUE(Filter::onlyUI().needToPrint(category));
        EXPECT_FALSE(Filter::hideUI().needToPrint(category));
        EXPECT_FALSE(Filter::onlyNetworking().needToPrint(category));
        EXPECT_TRUE(Filter::hideNetworking().needToPrint(category));
    }
    for (const Category& category : Filter::networkingCategories()) {
        EXPECT_TRUE(Filter::onlyNetworking().needToPrint(category));
        EXPECT_FALSE(Filter::hideNetworking().needToPrint(category));
        EXPECT_FALSE(Filter::onlyUI().needToPrint(category));
    }
}

} // namespace
} // namespace telvora
