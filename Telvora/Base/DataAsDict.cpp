#include <Telvora/Base/DataAsDict.h>

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/CopyInto.h>
#include <Telvora/Base/Encoder.h>

#include <algorithm>
#include <type_traits>
#include <utility>

namespace telvora::detail {

namespace {

template<typename Container> Value copied(const Container& container, const Storage& storage)
{
    AnyDepth<Value> value { Value(storage) };
    copyInto(container, *value);
    return std::move(*value);
}

template<typename Container>
requires(!std::is_reference_v<Container>) Value taken(Container&& container, const Storage& storage)
{
    if (*container.storage() == *storage)
        return Value(std::forward<Container>(container));
    Value value = copied(container, storage);
    dispose(std::forward<Container>(container));
    return value;
}

} // namespace

Value asValue(const Dictionary& dictionary, const Storage& storage)
{
    return copied(dictionary, storage);
}

Value asValue(Dictionary&& dictionary, const Storage& storage)
{
    return taken(std::move(dictionary), storage);
}

Value asValue(const Array& array, const Storage& storage)
{
    return copied(array, storage);
}

Value asValue(Array&& array, const Storage& storage)
{
    return taken(std::move(array), storage);
}

void putProperties(PropertyKeys keys, PassProperties pass, Dictionary& dictionary)
{
    dictionary.reserve(keys.size());
    pass(dictionary.storage(),
        [&](std::string_view key, Value&& value) { dictionary.emplace(key, std::move(value)); });
}

std::optional<std::string> encodeMerged(
    const Dictionary& under, PropertyKeys keys, PassProperties pass)
{
    Encoder encoder(EncodeStyle::compact, NonFinite::refuse);
    bool isEncodable = true;
    for (const auto& member : under) {
        const std::string_view key = member.key();
        const bool isReplaced = std::find(keys.begin(), keys.end(), key) != keys.end();
        isEncodable = isEncodable && (isReplaced || encoder.writeMember(key, member.value()));
    }
    // Even if there will be no text: this takes deep values out of a record that is given up, whose
    // destructor would recurse.
    pass({}, [&](std::string_view key, Value&& value) {
        const AnyDepth<Value> owned(std::move(value));
        isEncodable = isEncodable && encoder.writeMember(key, *owned);
    });
    if (!isEncodable)
        return std::nullopt;

    // Each member was written with a comma in front of it.
    std::string text = encoder.text();
    text.replace(0, text.empty() ? 0 : 1, "{");
    text += '}';
    return text;
}

} // namespace telvora::detail
