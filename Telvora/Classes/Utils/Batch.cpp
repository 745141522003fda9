#include <Telvora/Classes/Utils/Batch.h>

#include <Telvora/Base/AnyDepth.h>

namespace telvora {

namespace {

std::shared_ptr<Dictionary> emptyBatch()
{
    auto owner = std::make_shared<detail::AnyDepth<Dictionary>>();
    return std::shared_ptr<Dictionary>(owner, &**owner);
}

} // namespace

Batch makeBatch(Dictionary&& dictionary)
{
    auto batch = emptyBatch();
    *batch = std::move(dictionary);
    return batch;
}

Batch makeBatch(const Dictionary& dictionary)
{
    return detail::makeBatchToFill(dictionary);
}

std::shared_ptr<Dictionary> detail::makeBatchToFill(const Dictionary& dictionary)
{
    auto batch = emptyBatch();
    *batch = copy(dictionary);
    return batch;
}

} // namespace telvora
