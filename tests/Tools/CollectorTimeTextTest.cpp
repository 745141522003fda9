#include <tests/Tools/CollectorProgram.h>

#include <tools/collector/TimeText.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace telvora::tests {
namespace {

using collector::isoTime;
using collector::timeOfDay;
using testing::AllOf;
using testing::EndsWith;
using testing::StartsWith;

// Every test has a process of its own, and the programs that it starts inherit its zone.
void setZone(const char* zone)
{
    ::setenv("TZ", zone, 1);
    ::tzset();
}

TEST(CollectorTimeTextTest, HasTheZoneOfTheMachine)
{
    setZone("IST-5:30");
    EXPECT_EQ(isoTime(1700000000.25), "2023-11-15T03:43:20.250+05:30");
    EXPECT_EQ(timeOfDay(1700000000.25), "03:43:20.250");

    setZone("NST3:30");
    EXPECT_EQ(isoTime(1700000000.25), "2023-11-14T18:43:20.250-03:30");

    setZone("UTC0");
    EXPECT_EQ(isoTime(1700000000.25), "2023-11-14T22:13:20.250+00:00");
}

TEST(CollectorTimeTextTest, IsCutToMilliseconds)
{
    setZone("UTC0");

    EXPECT_EQ(isoTime(0), "1970-01-01T00:00:00.000+00:00");
    EXPECT_EQ(isoTime(0.9999), "1970-01-01T00:00:00.999+00:00");
    EXPECT_EQ(isoTime(-0.25), "1969-12-31T23:59:59.750+00:00");
}

TEST(CollectorTimeTextTest, AListingHasTheTimeOfArrivalInBothForms)
{
    setZone("IST-5:30");
    const CollectorProgram program;
    program.post("/e2e", eventsBody(1));

    const auto request = program.requests().at(0).as_object();

    const double time = request.at("time").as_double();
    EXPECT_GT(time, 1700000000);
    // Without the fraction, whose last digit a JSON reader may round the other way.
    EXPECT_THAT(std::string(request.at("arrived").as_string()),
        AllOf(StartsWith(isoTime(time).substr(0, 19)), EndsWith("+05:30")));
}

} // namespace
} // namespace telvora::tests
