#include <Telvora/Base/DataAsDict.h>

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/CopyInto.h>

#include <utility>

namespace telvora::detail {

namespace {

template<typename Container> Value copied(const Container& container, const Storage& storage)
{
    AnyDepth<Value> value { Value(storage) };
    copyInto(container, *value);
    return std::move(*value);
}

// Never called with an lvalue.
template<typename Container> Value taken(Container&& container, const Storage& storage)
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

} // namespace telvora::detail
