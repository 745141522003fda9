#include <tools/host/Markers.h>

#include <tools/host/ScriptError.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>

namespace telvora::tests {

namespace {

using host::lineText;
using host::replaceMarker;
using host::resolveMarkers;
using host::ScriptError;

Value parsed(std::string_view text)
{
    return *decode(text).value;
}

Value resolved(std::string_view text)
{
    Value value = parsed(text);
    resolveMarkers(value);
    return value;
}

} // namespace

TEST(MarkersTest, DoubleStandsForANumberThatJSONCannotWrite)
{
    EXPECT_TRUE(std::isnan(resolved(R"({"$double": "nan"})").get_double()));
    EXPECT_EQ(resolved(R"([{"$double": "inf"}])").at(0).get_double(), INFINITY);
    EXPECT_EQ(resolved(R"({"a": {"$double": "-inf"}})").at("a").get_double(), -INFINITY);
}

TEST(MarkersTest, BytesStandForAString)
{
    EXPECT_EQ(resolved(R"({"$bytes": ""})").get_string(), "");
    EXPECT_EQ(resolved(R"({"$bytes": "FF0061"})").get_string(), boost::json::string("\xFF\0a", 3));
}

TEST(MarkersTest, AnObjectWithMoreMembersIsNoMarker)
{
    const std::string text = R"({"$double":"nan","$bytes":"zz"})";

    EXPECT_EQ(encode(resolved(text)), text);
}

TEST(MarkersTest, AnInvalidMarkerIsAnError)
{
    EXPECT_THROW(resolved(R"({"$double": "NaN"})"), ScriptError);
    EXPECT_THROW(resolved(R"({"$double": 0})"), ScriptError);
    EXPECT_THROW(resolved(R"({"$bytes": "abc"})"), ScriptError);
    EXPECT_THROW(resolved(R"({"$bytes": "0g"})"), ScriptError);
    EXPECT_THROW(resolved(R"({"$bytes": null})"), ScriptError);
}

TEST(MarkersTest, ARunningNumberReplacesEveryMarkerOfItsName)
{
    Value value = parsed(R"({"a": {"$n": 0}, "b": [{"$n": 0}, {"$n": 1}, {"$thread": 0}]})");

    replaceMarker(value, "$n", 7);

    EXPECT_EQ(encode(value), R"({"a":7,"b":[7,{"$n":1},{"$thread":0}]})");
}

TEST(MarkersTest, AnOutputLineWritesInfinityAndNanAsDouble)
{
    Dictionary line;
    line["numbers"] = Array { NAN, 1.5, -INFINITY };

    EXPECT_EQ(lineText(line), R"({"numbers":[{"$double":"nan"},1.5,{"$double":"-inf"}]})");
}

TEST(MarkersTest, AnOutputLineRepairsBadUTF8)
{
    EXPECT_EQ(lineText({ { "text", "a\xFFz" } }), "{\"text\":\"a\xEF\xBF\xBDz\"}");
}

TEST(MarkersTest, DeepValuesNeedNoStack)
{
    Value value = NAN;
    for (int level = 0; level < 300'000; ++level) {
        Array outer;
        outer.push_back(std::move(value));
        value = std::move(outer);
    }
    resolveMarkers(value);
    Dictionary line;
    line["deep"] = std::move(value);

    EXPECT_NE(lineText(line).find(R"({"$double":"nan"})"), std::string::npos);
    dispose(std::move(line));
}

} // namespace telvora::tests
