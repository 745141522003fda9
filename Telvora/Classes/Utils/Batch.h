#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/SharedBytes.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace telvora {

/// How the body of a request is sent.
enum class BodyEncoding {
    /// As JSON text.
    plain,
    /// Compressed, with the header "Content-Encoding: gzip".
    gzip,
};

namespace detail {
struct BatchContent;
struct EncodedCommonData;
class EventList;
} // namespace detail

/// The dictionary that one request sends, as a pointer: null, or to a dictionary that is never
/// changed, so that the request, its answer and the retry cache share it without a copy.
///
/// A batch that the library makes is text. The first look at its dictionary reads that text and
/// keeps the result as long as the batch; a batch that nobody looks at has no dictionary. A batch
/// that is made of a dictionary keeps exactly that one.
///
/// Threads: any may read it.
/// Failure: the first look, and making a batch, throw std::bad_alloc where there is no memory.
///
/// Deliberate: in a dictionary that was read from text, an unsigned integer that fits a signed one
/// is a signed one. The two compare equal.
class TELVORA_EXPORT Batch {
public:
    /// Null.
    Batch() = default;
    /// Null.
    Batch(std::nullptr_t) { }
    /// Keeps `dictionary`, which nobody may change any more.
    Batch(std::shared_ptr<const Dictionary> dictionary);
    /// The same.
    Batch(std::shared_ptr<Dictionary> dictionary)
        : Batch(std::shared_ptr<const Dictionary>(std::move(dictionary)))
    {
    }

    /// Whether it is not null.
    explicit operator bool() const { return m_content != nullptr; }
    /// The dictionary, the same at each call; null if the batch is.
    const Dictionary* get() const;
    /// The dictionary. Requires: not null.
    const Dictionary& operator*() const { return *get(); }
    /// The same.
    const Dictionary* operator->() const { return get(); }

    /// The dictionary; it lives as long as its last owner.
    operator std::shared_ptr<const Dictionary>() const;

    /// Whether both are the same batch, or made of the same dictionary, or null. The members are
    /// not compared.
    friend TELVORA_EXPORT bool operator==(const Batch& lhs, const Batch& rhs);

    /// The JSON text, as it is sent: compressed if encoding() is gzip. Absent if the batch is null
    /// or JSON cannot express a number in it.
    std::optional<SharedBytes> encoded(BodyEncoding wanted = BodyEncoding::plain) const;

    /// How encoded() returns the text: for a batch that the library made, as it was made; for one
    /// of a dictionary, as it is wanted.
    BodyEncoding encoding(BodyEncoding wanted) const;

private:
    friend struct detail::BatchContent;

    std::shared_ptr<const detail::BatchContent> m_content;
};

/// A batch with the members of `dictionary`, moved or copied. Neither copying nor destroying it
/// recurses, however deep its events are nested.
TELVORA_EXPORT Batch makeBatch(Dictionary&& dictionary);
/// The same, with a copy.
TELVORA_EXPORT Batch makeBatch(const Dictionary& dictionary);

namespace detail {

/// A batch of the common data with the events as their list.
TELVORA_EXPORT Batch makeTextBatch(std::shared_ptr<const EncodedCommonData> common,
    const EventList& events, BodyEncoding encoding = BodyEncoding::plain);

/// The events of a batch that the library has made, under its own list key.
TELVORA_EXPORT Array eventsOf(const Batch& batch);

/// How long the JSON text is, before it is compressed; 0 for a batch that is null or that JSON
/// cannot express. Throws std::bad_alloc for one of a dictionary, whose text is made for this.
TELVORA_EXPORT std::size_t textBytes(const Batch& batch);

/// How many elements the array under `key` has; 0 if there is no such array.
TELVORA_EXPORT std::size_t eventsUnder(std::string_view key, const Batch& batch);

} // namespace detail

} // namespace telvora
