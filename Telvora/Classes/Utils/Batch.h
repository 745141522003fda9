#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>

#include <memory>

namespace telvora {

/// The dictionary that one request sends. Made once and never changed, so that the request, its
/// answer and the retry cache share it without a copy.
///
/// Threads: any may read it.
using Batch = std::shared_ptr<const Dictionary>;

/// A batch with the members of `dictionary`, moved or copied. Neither copying nor destroying it
/// recurses, however deep its events are nested.
TELVORA_EXPORT Batch makeBatch(Dictionary&& dictionary);
TELVORA_EXPORT Batch makeBatch(const Dictionary& dictionary);

namespace detail {

/// The same as makeBatch(), but the caller can change it before passing it on as a Batch.
TELVORA_EXPORT std::shared_ptr<Dictionary> makeBatchToFill(const Dictionary& dictionary);

} // namespace detail

} // namespace telvora
