#include <Telvora/Base/DataAsDict.h>

#include <tests/Base/JSONTesting.h>

#include <boost/describe/class.hpp>
#include <gtest/gtest.h>

#include <csignal>
#include <limits>

namespace telvora {
namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

struct Record : DataAsDict<Record> {
    std::string text = "a";
    bool flag = true;
    double number = 2;
    std::int64_t whole = -3;
    std::optional<std::string> absent;
    std::optional<double> present = 1.5;
    std::optional<StringDictionary> strings;
    std::optional<Dictionary> dictionary;
    std::string default_ = "keyword";
    std::string under_score = "kept";
};
BOOST_DESCRIBE_STRUCT(Record, (),
    (text, flag, number, whole, absent, present, strings, dictionary, default_, under_score))

TEST(DataAsDictTest, GivesOneEntryForEachPropertyInTheirOrder)
{
    EXPECT_EQ(encode(Record().asDictionary()),
        R"({"text":"a","flag":true,"number":2.0,"whole":-3,"absent":null,"present":1.5,)"
        R"("strings":null,"dictionary":null,"default":"keyword","under_score":"kept"})");
}

TEST(DataAsDictTest, AnAbsentPropertyIsAPresentKey)
{
    const Dictionary dictionary = Record().asDictionary();

    ASSERT_TRUE(dictionary.contains("absent"));
    EXPECT_TRUE(dictionary.at("absent").is_null());
}

TEST(DataAsDictTest, DictionariesAreCopied)
{
    Record record;
    record.strings = StringDictionary { { "b", "2" }, { "a", "1" } };
    record.dictionary = Dictionary { { "k", Array { 1 } } };

    const Dictionary dictionary = record.asDictionary();
    record.dictionary->clear();

    EXPECT_EQ(dictionary.at("strings"), (Value { { "a", "1" }, { "b", "2" } }));
    EXPECT_EQ(dictionary.at("dictionary"), (Value { { "k", Array { 1 } } }));
}

TEST(DataAsDictTest, ADictionaryOfAnyDepthIsCopied)
{
    Record record;
    record.dictionary = deepDictionary(200'000);

    Dictionary dictionary = record.asDictionary();

    EXPECT_TRUE(dictionary.at("dictionary").as_object().contains("in"));
    dispose(std::move(dictionary));
    dispose(std::move(*record.dictionary));
}

TEST(DataAsDictTest, ADictionaryIsMovedOutOfAnRvalueRecord)
{
    Record record;
    record.dictionary = deepDictionary(200'000);

    Dictionary dictionary = std::move(record).asDictionary();

    EXPECT_TRUE(dictionary.at("dictionary").as_object().contains("in"));
    EXPECT_TRUE(record.dictionary->empty());
    dispose(std::move(dictionary));
}

struct Underscored : DataAsDict<Underscored> {
    int count_ = 1;
    int xor_ = 2;
    int _ = 3;
};
BOOST_DESCRIBE_STRUCT(Underscored, (), (count_, xor_, _))

TEST(DataAsDictTest, TheKeyLosesTheUnderscoreBehindAKeywordOnly)
{
    EXPECT_EQ(encode(Underscored().asDictionary()), R"({"count_":1,"xor":2,"_":3})");
}

struct Kinds : DataAsDict<Kinds> {
    const char* text = "a";
    const char* noText = nullptr;
    std::string_view view = "b";
    int whole = -1;
    std::uint64_t large = 18446744073709551615u;
    float fraction = 0.5f;
    Array array { 1, "x" };
    std::optional<Array> absent;
};
BOOST_DESCRIBE_STRUCT(Kinds, (), (text, noText, view, whole, large, fraction, array, absent))

TEST(DataAsDictTest, EveryKindOfPropertyKeepsItsKind)
{
    EXPECT_EQ(encode(Kinds().asDictionary()),
        R"({"text":"a","noText":null,"view":"b","whole":-1,"large":18446744073709551615,)"
        R"("fraction":0.5,"array":[1,"x"],"absent":null})");
}

template<typename AnyRecord>
std::optional<std::string> encodeMergedWith(const Dictionary& under, AnyRecord&& record)
{
    return detail::encodeMerged(under, detail::propertyKeys<std::remove_cvref_t<AnyRecord>>,
        [&](detail::TakeProperty take) {
            detail::passProperties(std::forward<AnyRecord>(record), take);
        });
}

TEST(DataAsDictTest, TheTextOfARecordIsThatOfItsDictionary)
{
    const Dictionary under { { "os", "A" }, { "default", 1 }, { "default_", 2 }, { "\xFF", 3 } };
    Record record;
    record.text = "a \xFF \n";
    record.strings = StringDictionary { { "b", "2" } };
    record.dictionary = Dictionary { { "k", Array { 1, "x" } } };

    for (const Dictionary& common : { under, Dictionary() }) {
        EXPECT_EQ(encodeMergedWith(common, record), encodeMerged(common, record.asDictionary()));
        EXPECT_EQ(encodeMergedWith(common, Kinds()), encodeMerged(common, Kinds().asDictionary()));
    }
}

TEST(DataAsDictTest, ANumberThatIsNotFiniteLeavesNoTextUnlessItIsReplaced)
{
    Record record;
    record.number = notANumber;

    EXPECT_EQ(encodeMergedWith({}, record), std::nullopt);
    EXPECT_EQ(encodeMergedWith({ { "other", notANumber } }, Record()), std::nullopt);
    EXPECT_EQ(
        encodeMergedWith({ { "number", notANumber } }, Record()), encode(Record().asDictionary()));
}

template<typename AnyRecord> std::optional<std::string> encodePlain(AnyRecord&& record)
{
    return detail::encodePlain([&](detail::TakeProperty take) {
        detail::passProperties(std::forward<AnyRecord>(record), take);
    });
}

TEST(DataAsDictTest, ThePlainTextOfARecordIsReadBackAsItsDictionary)
{
    Record record;
    record.text = "\"a\" \n \xC3\xA9";
    record.number = -0.0;
    record.present = 5e-324;
    record.whole = std::numeric_limits<std::int64_t>::max();
    record.strings = StringDictionary { { "b", "2" }, { "a", "" } };

    const auto text = encodePlain(record);

    ASSERT_TRUE(text);
    EXPECT_EQ(text, encode(record.asDictionary()));
    EXPECT_TRUE(isSame(decode(*text).value.value(), record.asDictionary()));
}

TEST(DataAsDictTest, TheTextsOfRandomRecordsAreThoseOfTheirDictionaries)
{
    RandomJSON random(1);
    for (int round = 0; round < 2000; ++round) {
        Record record;
        record.text = random.text();
        record.number = random.number();
        record.whole
            = static_cast<std::int64_t>(random.below(std::numeric_limits<std::uint64_t>::max()));
        record.flag = random.below(2) == 0;
        if (random.below(2) == 0)
            record.absent = random.text();
        if (random.below(2) == 0)
            record.strings = StringDictionary { { random.text(), random.text() }, { "b", "2" } };
        const Value under = random.value(2);
        const Dictionary common { { "os", under }, { "number", 1 } };

        const Dictionary dictionary = record.asDictionary();
        const auto text = encodePlain(record);
        ASSERT_EQ(text, encode(dictionary));
        ASSERT_TRUE(isSame(decode(*text).value.value(), dictionary));
        ASSERT_EQ(encodeMergedWith(common, record), encodeMerged(common, dictionary));
    }
}

struct Unsigned : DataAsDict<Unsigned> {
    std::optional<std::uint64_t> number;
};
BOOST_DESCRIBE_STRUCT(Unsigned, (), (number))

TEST(DataAsDictTest, ARecordWhoseTextWouldBeReadDifferentlyHasNoPlainText)
{
    Unsigned unsignedNumber;
    EXPECT_EQ(encodePlain(unsignedNumber), R"({"number":null})");
    unsignedNumber.number = 1;
    EXPECT_EQ(encodePlain(unsignedNumber), std::nullopt);

    Record notFinite;
    notFinite.number = notANumber;
    EXPECT_EQ(encodePlain(notFinite), std::nullopt);
    Record notUTF8;
    notUTF8.text = "\xFF";
    EXPECT_EQ(encodePlain(notUTF8), std::nullopt);
    Record keyNotUTF8;
    keyNotUTF8.strings = StringDictionary { { "\xFF", "1" } };
    EXPECT_EQ(encodePlain(keyNotUTF8), std::nullopt);
    Record nested;
    nested.dictionary = Dictionary();
    EXPECT_EQ(encodePlain(nested), std::nullopt);
    EXPECT_EQ(encodePlain(Kinds()), std::nullopt);
}

struct Empty : DataAsDict<Empty> { };
BOOST_DESCRIBE_STRUCT(Empty, (), ())

TEST(DataAsDictTest, ARecordWithoutPropertiesLeavesTheRest)
{
    EXPECT_EQ(encodeMergedWith({}, Empty()), "{}");
    EXPECT_EQ(encodePlain(Empty()), "{}");
    EXPECT_EQ(encodeMergedWith({ { "os", "A" } }, Empty()), R"({"os":"A"})");
}

TEST(DataAsDictTest, ARecordOfAnyDepthBecomesTextAndIsEmptied)
{
    Record record;
    record.dictionary = deepDictionary(200'000);
    Kinds kinds;
    kinds.absent = Array { deepDictionary(200'000) };

    const auto text = encodeMergedWith({}, std::move(record));
    ASSERT_TRUE(text);
    EXPECT_GT(text->size(), 200'000u);
    EXPECT_FALSE(record.dictionary->empty());

    detail::disposeOfProperties(
        [&](detail::TakeProperty take) { detail::passProperties(std::move(record), take); });
    detail::disposeOfProperties(
        [&](detail::TakeProperty take) { detail::passProperties(std::move(kinds), take); });
    EXPECT_TRUE(record.dictionary->empty());
    EXPECT_TRUE(kinds.absent->empty());
    EXPECT_TRUE(kinds.array.empty());
}

TEST(DataAsDictTest, ARecordThatIsKeptIsNotEmptied)
{
    Kinds kinds;

    detail::disposeOfProperties(
        [&](detail::TakeProperty take) { detail::passProperties(kinds, take); });

    EXPECT_EQ(kinds.array.size(), 2u);
}

struct Repeated : DataAsDict<Repeated> {
    int a = 1;
};
BOOST_DESCRIBE_STRUCT(Repeated, (), (a, a))

TEST(DataAsDictDeathTest, TwoPropertiesOfOneKeyStopTheProcess)
{
    EXPECT_EXIT(Repeated().asDictionary(), testing::KilledBySignal(SIGABRT),
        "Duplicate values for key: 'a'");
}

} // namespace
} // namespace telvora
