#include <Telvora/Base/Dictionary.h>

#include <tests/Base/JSONTesting.h>

#include <gtest/gtest.h>

namespace telvora {
namespace {

constexpr std::size_t levels = 200'000;

TEST(DictionaryCopyTest, ACopyIsEqualAndIndependent)
{
    RandomJSON random(1);
    for (int round = 0; round < 1'000; ++round) {
        const Dictionary original = random.dictionary(4);
        Dictionary copied = copy(original);
        ASSERT_EQ(copied, original);

        copied["another"] = 1;
        ASSERT_FALSE(original.contains("another"));
    }
}

TEST(DictionaryCopyTest, ACopyKeepsTheOrderOfMembers)
{
    RandomJSON random(2);
    for (int round = 0; round < 200; ++round) {
        const Dictionary original = random.dictionary(3);
        ASSERT_EQ(encode(copy(original)), encode(original));
    }
}

TEST(DictionaryCopyTest, ACopyOfAnArrayIsEqualAndIndependent)
{
    const Array original { 1, "text", { { "a", { nullptr, 2.5 } } }, Array() };

    EXPECT_EQ(copy(original), original);
    EXPECT_EQ(copy(Array()), Array());
}

TEST(DictionaryCopyTest, CopyingADeepValueDoesNotRecurse)
{
    Dictionary original = deepDictionary(levels);
    Array array;
    array.push_back(deepArray(levels));

    Dictionary copied = copy(original);
    Value copiedArray(copy(array));
    Value originalArray(std::move(array));

    EXPECT_EQ(encode(copied), encode(original));
    EXPECT_EQ(encode(copiedArray), encode(originalArray));
    dispose(std::move(original));
    dispose(std::move(copied));
    dispose(std::move(originalArray));
    dispose(std::move(copiedArray));
}

TEST(DictionaryCopyTest, ACopyOfAnyValueIsEqual)
{
    for (const Value& original : { Value(), Value(1), Value(2.5), Value(true), Value("text"),
             Value(Dictionary { { "a", 1 } }), Value(Array { 1, "text" }) })
        EXPECT_EQ(copy(original), original);
}

void expectEqualCopy(Value original)
{
    Value copied = copy(original);

    EXPECT_EQ(encode(copied), encode(original));
    dispose(std::move(original));
    dispose(std::move(copied));
}

TEST(DictionaryCopyTest, CopyingADeepContainerAsAValueDoesNotRecurse)
{
    expectEqualCopy(deepDictionary(levels));
    expectEqualCopy(deepArray(levels));
}

TEST(DictionaryDisposeTest, LeavesAnEmptyContainerOrNull)
{
    Dictionary dictionary { { "a", { 1, 2 } } };
    Array array { 1, { { "b", 2 } } };
    Value value = "a text long enough to be on the heap";

    dispose(std::move(dictionary));
    dispose(std::move(array));
    dispose(std::move(value));

    EXPECT_TRUE(dictionary.empty());
    EXPECT_TRUE(array.empty());
    EXPECT_TRUE(value.is_null());
}

TEST(DictionaryDisposeTest, DestroysAWideValueOfManyDeepOnes)
{
    Array wide;
    for (int index = 0; index < 20; ++index)
        wide.push_back(deepArray(10'000));

    dispose(std::move(wide));

    EXPECT_TRUE(wide.empty());
}

} // namespace
} // namespace telvora
