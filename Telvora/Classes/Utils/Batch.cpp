#include <Telvora/Classes/Utils/Batch.h>

#include <Telvora/Base/AnyDepth.h>

namespace telvora {

namespace {

Batch batchOf(const std::shared_ptr<AnyDepth<Dictionary>>& owner)
{
    return Batch(owner, &**owner);
}

} // namespace

Batch makeBatch(Dictionary&& dictionary)
{
    return batchOf(std::make_shared<AnyDepth<Dictionary>>(std::move(dictionary)));
}

Batch makeBatch(const Dictionary& dictionary)
{
    return makeBatch(copy(dictionary));
}

} // namespace telvora
