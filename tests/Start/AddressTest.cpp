#include <Telvora/Start/Address.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

namespace telvora {
namespace {

TEST(AddressTest, AnAddressOfATextReturnsItEachTime)
{
    const std::string text = "https://collector.example/e2e";
    for (const Address& address :
        { Address(text.c_str()), Address(text), Address(std::string_view(text)) }) {
        EXPECT_FALSE(address.isEmpty());
        EXPECT_FALSE(address.isClosure());
        EXPECT_EQ(address.text(), text);
        EXPECT_EQ(address.closure()(), text);
        EXPECT_EQ(address.closure()(), text);
    }
}

TEST(AddressTest, AnAddressOfAClosureAsksItEachTime)
{
    const Address address = [count = 0]() mutable { return std::to_string(++count); };
    const Address::Closure closure = address.closure();

    EXPECT_TRUE(address.isClosure());
    EXPECT_EQ(closure(), "1");
    EXPECT_EQ(closure(), "2");
}

TEST(AddressTest, AnAddressOfNothingIsEmpty)
{
    const char* null = nullptr;
    for (const Address& address :
        { Address(), Address(""), Address(null), Address(std::function<std::string()>()) }) {
        EXPECT_TRUE(address.isEmpty());
        EXPECT_FALSE(address.closure());
    }
}

TEST(AddressTest, AnAddressIsMadeOfTextsAndOfClosuresThatReturnOne)
{
    const auto returnsLiteral = [] { return "http://a"; };
    const auto returnsNumber = [] { return std::make_unique<int>(1); };

    EXPECT_TRUE((std::is_convertible_v<decltype(returnsLiteral), Address>));
    EXPECT_FALSE((std::is_convertible_v<decltype(returnsNumber), Address>));
    EXPECT_FALSE((std::is_convertible_v<int, Address>));
}

} // namespace
} // namespace telvora
