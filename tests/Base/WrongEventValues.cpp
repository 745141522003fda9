// Each case must not compile, and say why in one sentence. Without a case everything is right.

#include <Telvora/Base/EventBuilder.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <vector>

struct Order { };

void build(telvora::EventBuilder& event)
{
    event.set("orders", 1);
#if defined(CASE_STRUCT)
    event.set("order", Order());
#elif defined(CASE_STRUCT_IN_OPTIONAL)
    event.set("order", std::optional<Order>());
#elif defined(CASE_STRUCT_IN_NESTED_RANGE)
    event.set("orders", std::vector<std::vector<Order>>());
#elif defined(CASE_STRUCT_IN_MAP)
    event.set("orders", std::map<std::string, Order>());
#elif defined(CASE_STRUCT_AS_VALUE)
    const telvora::Dictionary fields { { "order", telvora::toValue(Order()) } };
#elif defined(CASE_NUMBER_AS_KEY)
    event.set("orders", std::map<int, int>());
#elif defined(CASE_POINTER)
    event.set("order", std::make_unique<int>(1));
#elif defined(CASE_PATH)
    event.set("file", std::filesystem::path("a"));
#elif defined(CASE_WIDE_TEXT)
    event.set("name", L"a");
#elif defined(CASE_CHARACTERS)
    event.set("letters", std::vector<char> { 'a' });
#elif defined(CASE_CHARACTER)
    event.set("letter", 'a');
#elif defined(CASE_WIDE_CHARACTER)
    event.set("letter", L'a');
#elif defined(CASE_DURATION)
    event.set("ms", std::chrono::milliseconds(1));
#endif
}
