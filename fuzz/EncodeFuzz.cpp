#include <fuzz/DrawnValue.h>

#include <Telvora/Base/Dictionary.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// encode() refuses exactly what is not finite, and writes valid JSON in both styles.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    telvora::fuzz::Drawn drawn = telvora::fuzz::draw(telvora::fuzz::Bytes(data, size));
    const auto compact = telvora::encode(drawn.value);
    if (compact.has_value() != drawn.isFinite)
        std::abort();
    if (compact) {
        const auto pretty = telvora::encode(drawn.value, telvora::EncodeStyle::pretty);
        const auto first = telvora::decode(*compact, size + 2);
        const auto second = telvora::decode(*pretty, size + 2);
        if (!first.value || !second.value || *first.value != *second.value)
            std::abort();
        // Bad UTF-8 is repaired only once: encoding the decoded text again changes nothing.
        if (telvora::encode(*first.value) != telvora::encode(*second.value))
            std::abort();
    }
    telvora::dispose(std::move(drawn.value));
    return 0;
}
