#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>

#include <memory>

namespace telvora {

/// The dictionary that one request carries. Made once and never changed, so that the request, its
/// answer and the retry cache pass one and the same along without copying it.
using Batch = std::shared_ptr<const Dictionary>;

/// A batch of the members of `dictionary`, which it takes over or copies. Neither copying nor
/// destroying it recurses, however deep its events are.
TELVORA_EXPORT Batch makeBatch(Dictionary&& dictionary);
TELVORA_EXPORT Batch makeBatch(const Dictionary& dictionary);

/// The same, still to be changed before it is passed on as a Batch.
TELVORA_EXPORT std::shared_ptr<Dictionary> makeBatchToFill(const Dictionary& dictionary);

} // namespace telvora
