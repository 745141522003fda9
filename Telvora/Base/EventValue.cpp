#include <Telvora/Base/EventValue.h>

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/CopyInto.h>

#include <utility>

namespace telvora::detail {

namespace {

template<typename Source> Value copyOf(const Source& source, boost::json::storage_ptr storage)
{
    AnyDepth<Value> copied { Value(std::move(storage)) };
    copyInto(source, *copied);
    return std::move(*copied);
}

} // namespace

Value copyIn(const Value& value, boost::json::storage_ptr storage)
{
    return copyOf(value, std::move(storage));
}

Value copyIn(const Dictionary& dictionary, boost::json::storage_ptr storage)
{
    return copyOf(dictionary, std::move(storage));
}

Value copyIn(const Array& array, boost::json::storage_ptr storage)
{
    return copyOf(array, std::move(storage));
}

} // namespace telvora::detail
