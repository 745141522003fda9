#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/JSONBytes.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

/// A value that decode() reads is encoded without error and decoded to the same value again. UTF-8
/// text is not mistaken for another encoding.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    auto first = telvora::decode(text);
    auto inAnyEncoding = telvora::detail::decodeBytes(text);
    if (!first.value)
        return 0;
    if (inAnyEncoding.value != first.value)
        std::abort();

    const auto written = telvora::encode(*first.value);
    if (!written)
        std::abort();
    auto second = telvora::decode(*written);
    if (!second.value || *second.value != *first.value)
        std::abort();
    return 0;
}
