#include <tools/collector/BatchScan.h>
#include <tools/collector/UTF8.h>

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace telvora::collector {
namespace {

using Root = BatchScan::Root;

TEST(BatchScanTest, ListsTheRootsMembersInOrder)
{
    const BatchScan scan = scanBatch(R"({"os":"ios","data":[{"a":[1,{}]},{}],"n":[1,{}],"e":[]})");

    ASSERT_EQ(scan.root, Root::object);
    ASSERT_EQ(scan.members.size(), 4U);
    EXPECT_EQ(scan.members[0].key, "os");
    EXPECT_FALSE(scan.members[0].isArray);
    EXPECT_EQ(scan.members[1].key, "data");
    EXPECT_EQ(scan.members[1].elements, 2U);
    EXPECT_TRUE(scan.members[1].onlyObjects);
    EXPECT_EQ(scan.members[2].elements, 2U);
    EXPECT_FALSE(scan.members[2].onlyObjects);
    EXPECT_TRUE(scan.members[3].isArray);
    EXPECT_EQ(scan.members[3].elements, 0U);
}

TEST(BatchScanTest, ReadsKeysThroughTheirEscapes)
{
    const BatchScan scan = scanBatch(R"({"dat\u0061":[{}]})");

    ASSERT_EQ(scan.members.size(), 1U);
    EXPECT_EQ(scan.members[0].key, "data");
}

TEST(BatchScanTest, ReportsWhereTheTextIsWrong)
{
    const BatchScan scan = scanBatch(R"({"a":1,})");

    EXPECT_EQ(scan.root, Root::notJSON);
    EXPECT_EQ(scan.error, "key expected");
    EXPECT_EQ(scan.errorOffset, 7U);
}

TEST(BatchScanTest, ScansAnyDepth)
{
    constexpr std::size_t depth = 1'000'000;
    const std::string deep
        = R"({"data":[{"x":)" + std::string(depth, '[') + std::string(depth, ']') + "}]}";

    const BatchScan scan = scanBatch(deep);

    ASSERT_EQ(scan.root, Root::object);
    EXPECT_EQ(scan.members[0].elements, 1U);
}

TEST(BatchScanTest, RefusesTextThatIsNotUTF8)
{
    for (const char* bytes : { "\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80",
             "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xE2\x82", "\xFF" }) {
        EXPECT_EQ(scanBatch("\"" + std::string(bytes) + "\"").error, "not UTF-8");
        EXPECT_FALSE(isUTF8(bytes));
    }
    for (const char* bytes : { "\x7F", "\xC2\x80", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
             "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF" })
        EXPECT_EQ(scanBatch("\"" + std::string(bytes) + "\"").root, Root::other);
}

TEST(BatchScanTest, RefusesUnpairedSurrogates)
{
    for (const char* text : { R"("\ud800")", R"("\udc00")", R"("\ud800x")", R"("\ud800\u0041")",
             R"("\ud800\ud800")", R"("\ud83d\")" })
        EXPECT_EQ(scanBatch(text).root, Root::notJSON) << text;
    EXPECT_EQ(scanBatch(R"("\ud83d\ude00")").root, Root::other);
}

TEST(BatchScanTest, RefusesNumbersThatJSONDoesNotHave)
{
    for (const char* text :
        { "01", "-", "+1", ".5", "1.", "1e", "1e+", "NaN", "Infinity", "-inf", "0x1" })
        EXPECT_EQ(scanBatch(text).root, Root::notJSON) << text;
    for (const char* text : { "0", "-0", "1.50", "1e9", "1E-9", "123456789012345678901234567890" })
        EXPECT_EQ(scanBatch(text).root, Root::other) << text;
}

// Changes a few bytes of a valid text, mostly into bytes that have a meaning in JSON.
std::string mutated(std::string text, std::mt19937& random)
{
    constexpr std::string_view bytes = "{}[]\",:\\tfn0123456789eE+-. u\xC3\xA4";
    const int changes = static_cast<int>(random() % 3);
    for (int i = 0; i < changes && !text.empty(); ++i) {
        const std::size_t at = random() % text.size();
        switch (random() % 3) {
        case 0:
            text[at] = bytes[random() % bytes.size()];
            break;
        case 1:
            text.erase(at, 1);
            break;
        default:
            text.insert(at, 1, bytes[random() % bytes.size()]);
            break;
        }
    }
    return text;
}

TEST(BatchScanTest, AgreesWithAnotherReaderOnRandomTexts)
{
    const std::string whole
        = R"({"os":"ios","n":-12.5e+3,"t":[true,false,null],"data":[{"k":"v\n\u00e4ä"},{"x":{"y":[]}}],"":0})";
    std::mt19937 random(7);
    int valid = 0;

    for (int i = 0; i < 20000; ++i) {
        const std::string text = mutated(whole, random);
        boost::system::error_code error;
        const auto value = boost::json::parse(text, error);
        const BatchScan scan = scanBatch(text);

        ASSERT_EQ(scan.root != Root::notJSON, !error) << text << ": " << scan.error;
        ASSERT_EQ(scan.root == Root::object, !error && value.is_object()) << text;
        valid += error ? 0 : 1;
    }
    EXPECT_GT(valid, 1000);
}

} // namespace
} // namespace telvora::collector
