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

template<typename... Visitors> struct Overloaded : Visitors... {
    using Visitors::operator()...;
};
template<typename... Visitors> Overloaded(Visitors...) -> Overloaded<Visitors...>;

bool write(const Property& property, Encoder& encoder)
{
    return std::visit(Overloaded {
                          [&](const StringDictionary* strings) {
                              encoder.openObject();
                              for (const auto& [key, text] : *strings) {
                                  encoder.writeKey(key);
                                  encoder.writeString(text);
                              }
                              encoder.closeObject();
                              return true;
                          },
                          [&](auto* container) { return encoder.write(*container); },
                          [&](auto plain) { return encoder.write(plain); },
                      },
        property);
}

// Whether decode() makes the same value of the property's text. A number without a sign would
// become one with a sign, and a container may hold one, or be nested too deeply.
bool isReadAsItIs(const Property& property)
{
    return std::visit(Overloaded {
                          [](const StringDictionary*) { return true; },
                          [](auto*) { return false; },
                          [](std::uint64_t) { return false; },
                          [](auto) { return true; },
                      },
        property);
}

} // namespace

Value valueOf(const Property& property, const Storage& storage)
{
    return std::visit(
        Overloaded {
            [&](const StringDictionary* strings) {
                Dictionary dictionary(strings->size(), storage);
                for (const auto& [key, text] : *strings)
                    dictionary.emplace(key, std::string_view(text));
                return Value(std::move(dictionary));
            },
            [&](const Dictionary* dictionary) { return copied(*dictionary, storage); },
            [&](Dictionary* dictionary) { return taken(std::move(*dictionary), storage); },
            [&](const Array* array) { return copied(*array, storage); },
            [&](Array* array) { return taken(std::move(*array), storage); },
            [&](auto plain) { return Value(plain, storage); },
        },
        property);
}

void putProperties(PropertyKeys keys, PassProperties pass, Dictionary& dictionary)
{
    dictionary.reserve(keys.size());
    pass([&](std::string_view key, const Property& property) {
        // The value is put in last: where there is no memory for the key, it would be destroyed
        // with recursion.
        Value& place = dictionary.emplace(key, nullptr).first->value();
        place = valueOf(property, dictionary.storage());
    });
}

void disposeOfProperties(PassProperties pass)
{
    pass([](std::string_view, const Property& property) {
        if (auto* const* dictionary = std::get_if<Dictionary*>(&property))
            dispose(std::move(**dictionary));
        else if (auto* const* array = std::get_if<Array*>(&property))
            dispose(std::move(**array));
    });
}

std::optional<std::string> encodePlain(PassProperties pass)
{
    Encoder encoder(EncodeStyle::compact, NonFinite::refuse);
    encoder.openObject();
    bool isPlain = true;
    pass([&](std::string_view key, const Property& property) {
        isPlain = isPlain && isReadAsItIs(property);
        if (!isPlain)
            return;
        encoder.writeKey(key);
        isPlain = write(property, encoder);
    });
    if (!isPlain || encoder.hasRepaired())
        return std::nullopt;
    encoder.closeObject();
    return encoder.text();
}

std::optional<std::string> encodeMerged(
    const Dictionary& under, PropertyKeys keys, PassProperties pass)
{
    Encoder encoder(EncodeStyle::compact, NonFinite::refuse);
    encoder.openObject();
    for (const auto& member : under) {
        const std::string_view key = member.key();
        if (std::find(keys.begin(), keys.end(), key) != keys.end())
            continue;
        encoder.writeKey(key);
        if (!encoder.write(member.value()))
            return std::nullopt;
    }
    bool isEncodable = true;
    pass([&](std::string_view key, const Property& property) {
        encoder.writeKey(key);
        isEncodable = isEncodable && write(property, encoder);
    });
    if (!isEncodable)
        return std::nullopt;
    encoder.closeObject();
    return encoder.text();
}

} // namespace telvora::detail
