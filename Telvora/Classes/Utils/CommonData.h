#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>

#include <string>

namespace telvora {

/// What all batches of a channel contain beside the events. Read and replaced as one.
struct TrackerCommonData {
    /// The fields beside the event list.
    Dictionary commonDatas;
    /// The key of the event list. It replaces a field of the same name.
    std::string dataListKey = "data-list";
};

namespace detail {

enum class NonFinite;

/// A channel's common data with their text, which is made once and put around the events of each
/// batch.
///
/// Threads: never changed; any may read it.
/// Failure: the constructor throws std::bad_alloc.
struct TELVORA_EXPORT EncodedCommonData {
    explicit EncodedCommonData(TrackerCommonData&& commonData);
    EncodedCommonData(TrackerCommonData&& commonData, NonFinite nonFinite);
    /// Does not recurse, however deep the values are.
    ~EncodedCommonData();

    EncodedCommonData(const EncodedCommonData&) = delete;
    EncodedCommonData& operator=(const EncodedCommonData&) = delete;

    TrackerCommonData data;
    /// The text of a batch up to and including the bracket before its first event. A field with the
    /// list's key gives way to the list, which stands in its place.
    std::string head;
    /// The text from the bracket behind the last event.
    std::string tail;
    /// False if JSON cannot express a number in the common data. Batches are then never sent, and
    /// `head` and `tail` are the brackets alone.
    bool isEncodable = false;

private:
    EncodedCommonData() = default;
};

} // namespace detail

} // namespace telvora
